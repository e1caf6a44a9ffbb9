// What a plain reader finds in the output that FuzzIfconfigParsers feeds. It knows the plain shape only, word by word,
// and has nothing to say about any other.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace IfconfigReader {

using Finding = std::optional<std::string>;

// The one address behind the one word HWaddr: six pairs of hexadecimal digits.
Finding Mac(std::string_view text);

// "192.168.1.20  255.255.255.0": the one address behind "inet addr:" and the one behind "Mask:".
Finding AddressAndMask(std::string_view text);

// "MAC  address  mask" of one of the names eth0, eth1 and wlan0, of which one line alone tells, with the addresses on
// the line below.
Finding Interface(std::string_view text, std::string_view name);

// The first line that tells of Yocto, up to its last "-r".
Finding Release(std::string_view text);

// The dotted mask of a length from 0 to 32 in plain digits.
Finding Mask(std::string_view prefixLength);

// A text without the blanks around it.
std::string Bare(std::string_view text);

}  // namespace IfconfigReader
