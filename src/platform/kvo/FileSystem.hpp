#pragma once

#include <vector>

#include "String.hpp"

namespace kvo::FileSystem {

// The separator of path components that the operating system writes.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

// Listing flag selecting plain files: no directories, no symbolic links.
inline constexpr unsigned kPlainFiles = 4;

bool exists(const String& path);
bool isDirectory(const String& path);
// True for an existing directory without entries; false otherwise.
bool isDirectoryEmpty(const String& path);
// Names (not paths) of the directory's entries of the kinds in `flags`, sorted.
std::vector<String> getDirectoryContents(const String& directory, unsigned flags = kPlainFiles);
// Removes a file; a symbolic link is removed itself, its target is never touched.
bool removeFile(const String& path);
bool createDirectories(const String& path);

}  // namespace kvo::FileSystem
