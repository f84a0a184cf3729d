// What is kept of a password.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

/// How much work one guess costs (RFC 7914).
struct SScryptCost
{
    /// 128 * N * r bytes are used, 32 MiB, for some 130 ms on a core of the year 2020: what the
    /// recommendation for interactive log-ins asks for at least, and half of what a controller can spare.
    std::uint64_t mN = std::uint64_t{1} << 15; ///< a power of two
    std::uint32_t mR = 8;
    std::uint32_t mP = 1;

    /// Whether it is valid, and no more than 128 MiB and four times the work of the default: a file must not
    /// be able to stop whoever reads it.
    bool IsBounded() const noexcept;
    std::uint64_t GetWork() const noexcept { return mN * mR * mP; } ///< of bounded ones
};

/// A salted scrypt hash with its parameters.
class CPasswordHash
{
public:
    /// Hashes with a new salt, which takes the time that the cost says.
    /// @param cost  bounded
    /// @throws CException "Unable to hash a password (scrypt N=%llu r=%u p=%u)", "No random numbers ..."
    static CPasswordHash Make(std::string_view password, const SScryptCost& cost);
    /// One that no password matches, which shows only after the time of that cost.
    static CPasswordHash MakeDummy(const SScryptCost& cost);

    /// One that was kept. @param cost  bounded
    CPasswordHash(const SScryptCost& cost, std::vector<unsigned char> salt, std::vector<unsigned char> key);

    /// Takes the same time for any password.
    /// @throws CException as `Make`
    bool Matches(std::string_view password) const;

    const SScryptCost& GetCost() const noexcept { return mCost; }
    const std::vector<unsigned char>& GetSalt() const noexcept { return mSalt; }
    const std::vector<unsigned char>& GetKey() const noexcept { return mKey; }

    static constexpr std::size_t kSaltSize = 16; ///< bytes of a new one
    static constexpr std::size_t kKeySize = 32;  ///< bytes

private:
    SScryptCost mCost;
    std::vector<unsigned char> mSalt;
    std::vector<unsigned char> mKey;
};
