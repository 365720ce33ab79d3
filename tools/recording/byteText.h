#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace veltra {

// Ways to show bytes that need not be text.

// Whether the bytes are well-formed UTF-8.
bool isUtf8(std::string_view bytes) noexcept;

// The bytes in base64 with padding, without line breaks.
std::string base64(std::string_view bytes);

// The bytes in one line of printable ASCII that no terminal takes for a command: \r \n \t \\ and
// \xhh for what cannot be printed.
std::string readable(std::string_view bytes);

// The same, cut so that it is `width` columns wide at most; "..." then stands at its end.
std::string readable(std::string_view bytes, std::size_t width);

// Two lower-case hexadecimal digits.
std::string hexDigits(char byte);

// Appends the character U+0000 to U+00FF in UTF-8.
void appendLatin1(unsigned char character, std::string& text);

}  // namespace veltra
