// OpenSSL's generator, seeded by the kernel.
#include "software/bp/security/NRandom.h"

#include "software/utility/CException.h"
#include "software/utility/NHex.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

namespace
{
constexpr char kSource[] = "software/bp/security/NRandom";
constexpr char kLetters[] = "abcdefghijkmnpqrstuvwxyz23456789"; // without l, o, 0 and 1
constexpr std::size_t kLetterCount = sizeof kLetters - 1;
static_assert(256 % kLetterCount == 0, "each letter is as likely as any other");
constexpr std::size_t kPasswordLetters = 16;
constexpr std::size_t kGroup = 4;
constexpr std::size_t kTokenBytes = 32;
} // namespace

std::vector<unsigned char> NRandom::MakeBytes(std::size_t count)
{
    std::vector<unsigned char> bytes(count);
    if (RAND_priv_bytes(bytes.data(), static_cast<int>(count)) != 1)
        throw CException(__func__, kSource, __LINE__, false, "No random numbers are to be had");
    return bytes;
}

std::string NRandom::MakePassword()
{
    std::vector<unsigned char> bytes = MakeBytes(kPasswordLetters);
    std::string password;
    password.reserve(kPasswordLetters + kPasswordLetters / kGroup);
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        if (i > 0 && i % kGroup == 0)
            password += '-';
        password += kLetters[bytes[i] % kLetterCount];
    }
    OPENSSL_cleanse(bytes.data(), bytes.size());
    return password;
}

std::string NRandom::MakeToken()
{
    const std::vector<unsigned char> bytes = MakeBytes(kTokenBytes);
    return NHex::ToText(bytes.data(), bytes.size());
}
