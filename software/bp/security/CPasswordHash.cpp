// scrypt by OpenSSL.
#include "software/bp/security/CPasswordHash.h"

#include "software/bp/security/NRandom.h"
#include "software/utility/CException.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <utility>

namespace
{
constexpr char kSource[] = "software/bp/security/CPasswordHash";
constexpr std::uint64_t kMaxMemory = std::uint64_t{128} << 20; // bytes
constexpr std::uint64_t kBlock = 128;                          // bytes, times r
constexpr std::uint64_t kMaxWork = 4 * (std::uint64_t{1} << 18);
constexpr std::uint32_t kMaxFactor = 1024; // of r and p alone, so that products stay small

std::vector<unsigned char> Hash(std::string_view password, const std::vector<unsigned char>& salt,
                                const SScryptCost& cost)
{
    // OpenSSL counts N + p + a few blocks against its limit, which without a word of ours is 32 MiB.
    const std::uint64_t limit = kBlock * cost.mR * (cost.mN + cost.mP + 4) + 4096;
    std::vector<unsigned char> key(CPasswordHash::kKeySize);
    if (EVP_PBE_scrypt(password.data(), password.size(), salt.data(), salt.size(), cost.mN, cost.mR, cost.mP,
                       limit, key.data(), key.size()) != 1)
        throw CException(__func__, kSource, __LINE__, false,
                         "Unable to hash a password (scrypt N=%llu r=%u p=%u)",
                         static_cast<unsigned long long>(cost.mN), cost.mR, cost.mP);
    return key;
}
} // namespace

bool SScryptCost::IsBounded() const noexcept
{
    const bool isPower = mN > 1 && (mN & (mN - 1)) == 0;
    return isPower && mN <= kMaxWork && mR >= 1 && mR <= kMaxFactor && mP >= 1 && mP <= kMaxFactor &&
           mN * mR * kBlock <= kMaxMemory && GetWork() <= kMaxWork;
}

CPasswordHash CPasswordHash::Make(std::string_view password, const SScryptCost& cost)
{
    std::vector<unsigned char> salt = NRandom::MakeBytes(kSaltSize);
    std::vector<unsigned char> key = Hash(password, salt, cost);
    return CPasswordHash(cost, std::move(salt), std::move(key));
}

CPasswordHash CPasswordHash::MakeDummy(const SScryptCost& cost)
{
    return CPasswordHash(cost, NRandom::MakeBytes(kSaltSize), NRandom::MakeBytes(kKeySize));
}

CPasswordHash::CPasswordHash(const SScryptCost& cost, std::vector<unsigned char> salt,
                             std::vector<unsigned char> key)
    : mCost(cost)
    , mSalt(std::move(salt))
    , mKey(std::move(key))
{
}

bool CPasswordHash::Matches(std::string_view password) const
{
    const std::vector<unsigned char> key = Hash(password, mSalt, mCost);
    return mKey.size() == key.size() && CRYPTO_memcmp(mKey.data(), key.data(), key.size()) == 0;
}
