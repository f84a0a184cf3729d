// By OpenSSL, whose call no compiler leaves out.
#include "software/bp/security/CSecret.h"

#include <openssl/crypto.h>

void CSecret::Wipe(std::string& text) noexcept
{
    text.resize(text.capacity()); // also what an earlier, longer content left behind; allocates nothing
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}
