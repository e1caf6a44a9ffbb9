// Client identifiers that no two clients of a broker share.
#pragma once

#include <string>

namespace VeltrixDetail {

// The name, as far as it is plain and not long, with the process id, a count and a random number behind it. Any thread.
std::string MakeClientId(const std::string& name);

}  // namespace VeltrixDetail
