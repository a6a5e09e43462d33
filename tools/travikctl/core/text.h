#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
std::string toUtf8(const std::wstring& text);

/// UTF-8 to UTF-16.
std::wstring fromUtf8(const std::string& text);

/// "0x80bb0001".
std::string hexadecimal(std::uint32_t value);

/// How many columns of a terminal the text takes; East Asian characters and emoji take two.
std::size_t columnsOf(const std::string& text);

/// The full path of a file that the user named, relative to the current folder.
std::wstring fullPath(const std::string& path);

/// The known word that the user may have meant by another one; empty when none is close.
std::string closestTo(const std::string& word, const std::vector<std::string>& known);
