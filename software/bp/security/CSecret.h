// A text that must not stay in memory.
#pragma once

#include <string>
#include <string_view>

/// Holds a password and overwrites it when it goes. Neither copied nor moved, because either may leave a copy
/// behind.
class CSecret
{
public:
    explicit CSecret(std::string_view text)
        : mText(text)
    {
    }
    CSecret(const CSecret&) = delete;
    CSecret& operator=(const CSecret&) = delete;
    ~CSecret() { Wipe(mText); }

    const std::string& Get() const noexcept { return mText; }

    /// Compares in a time that tells nothing but the lengths.
    static bool AreEqual(std::string_view left, std::string_view right) noexcept;
    static void Wipe(std::string& text) noexcept; ///< overwrites all of its memory; it is empty afterwards

private:
    std::string mText;
};
