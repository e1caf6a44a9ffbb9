// Whether a text is one JSON object, by the grammar alone and in one's own words.
#pragma once

#include <string_view>

namespace Fuzz {

// Strictly: UTF-8 throughout, no control characters in texts, no half surrogate pairs, white space around it but
// nothing else. Numbers of more than 60 characters and a depth of more than 900 count as no JSON.
bool IsJsonObject(std::string_view text);

}  // namespace Fuzz
