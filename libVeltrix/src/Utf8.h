// Where texts from outside are UTF-8 and where not.
#pragma once

#include <string>
#include <string_view>

namespace VeltrixDetail {

// Overlong forms, surrogates and code points above U+10FFFF are not UTF-8.
bool IsUtf8(std::string_view text);

// The text with U+FFFD for each byte that is no UTF-8.
std::string ToUtf8(std::string_view text);

}  // namespace VeltrixDetail
