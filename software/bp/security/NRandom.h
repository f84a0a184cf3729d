// What nobody can guess.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// All of it comes from the system's generator for secrets.
/// @throws CException "No random numbers are to be had" when that does not work
namespace NRandom
{
std::vector<unsigned char> MakeBytes(std::size_t count);
/// A password for people to type: four groups of four letters and digits, none of which look alike; 80 bits.
std::string MakePassword();
/// A text of hexadecimal digits that a program presents; 256 bits.
std::string MakeToken();
} // namespace NRandom
