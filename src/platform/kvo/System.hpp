#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace kvo {

// UTF-8 text <-> filesystem path, the same on every platform.
std::filesystem::path toPath(const std::string& utf8);
std::string fromPath(const std::filesystem::path& path);

namespace System {

// Sleeps on the process clock (virtual or steady).
void mssleep(std::uint32_t milliseconds);

// The directory of the running program, where its resources are installed.
std::string executableDirectory();

// fopen with a UTF-8 path on every platform.
std::FILE* fopen(const std::string& path, const char* mode);

}  // namespace System
}  // namespace kvo
