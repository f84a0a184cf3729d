// What can be read can be written, in no more bytes, and reads as the same.
#include "cep/CBERLength.h"

#include <array>
#include <cstdlib>

using LibMarlix::CBERLength;

namespace
{
void Require(bool holds)
{
    if (!holds)
        std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    std::uint32_t length = 0xBAD;
    const std::size_t taken = CBERLength::decodeLengthFromBer(data, size, length);
    Require(taken <= size && taken <= CBERLength::kMaxBytes && (taken > 0 || length == 0));
    if (taken == 0)
        return 0;
    Require(CBERLength::isFirstByte(*data));
    std::array<unsigned char, CBERLength::kMaxBytes> bytes{};
    const std::size_t written = CBERLength::encodeLengthToBer(length, bytes.data());
    Require(written > 0 && written <= taken && written == CBERLength::berBytesLength(length));
    std::uint32_t again = 0;
    Require(CBERLength::decodeLengthFromBer(bytes.data(), written, again) == written && again == length);
    return 0;
}
