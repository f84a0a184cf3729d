// By OpenSSL, whose call no compiler leaves out.
#include "software/bp/security/CSecret.h"

#include <openssl/crypto.h>

bool CSecret::AreEqual(std::string_view left, std::string_view right) noexcept
{
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

void CSecret::Wipe(std::string& text) noexcept
{
    text.resize(text.capacity()); // also what an earlier, longer content left behind; allocates nothing
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}
