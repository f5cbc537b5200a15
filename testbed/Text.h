// Small text helpers of the stand-ins: UTF-8, lines, names without case, whole files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Testbed
{

std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

// Without blanks and tabs at both ends.
std::wstring_view Trimmed(std::wstring_view text);

// Equal without regard to case.
bool SameName(std::wstring_view left, std::wstring_view right);

// Lines without their CR and LF; a byte-order mark is dropped.
std::vector<std::wstring> SplitLines(std::wstring_view text);

// The parts between separators, trimmed; empty text gives no part.
std::vector<std::wstring> SplitList(std::wstring_view text, wchar_t separator);

// Empty when the file cannot be read.
std::string ReadWholeFile(const std::wstring& path);

// "0x" and lower-case digits without leading zeros.
std::wstring Hex(unsigned long value);

} // namespace Testbed
