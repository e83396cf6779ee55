#pragma once

#include <string>

namespace ui::win32 {

// UTF-8 <-> UTF-16 for the wide Win32 calls; invalid input is replaced, never rejected.
std::wstring widen(const std::string& utf8);
std::string narrow(const std::wstring& utf16);
std::string narrow(const wchar_t* utf16);

}  // namespace ui::win32
