// Takes light away from a projector that gets too hot.
#pragma once

#include <chrono>
#include <functional>
#include <string>

class CEventDispatcher;
class CProjCon;
class ILog;

/// While the die is above its limit, the soft maximum of the light output comes down step by step; when it is
/// well below, the soft maximum goes up again, and with it an output that this class had lowered and nobody
/// has touched since. A temperature that may not be believed moves the light neither way: the fans run at
/// full speed then, which is enough for full light, while light that comes back could be too much. Nothing is
/// owned; all must outlive it. Used from the loop's thread.
class CLightDerating
{
public:
    /// @param code     control of the light output, of a type with a soft range
    /// @param measure  gives the die's temperature, °C; not a number when it may not be believed
    CLightDerating(CEventDispatcher& dispatcher, const std::string& code, std::function<double()> measure,
                   ILog& log);

    void Advance(std::chrono::milliseconds elapsed); ///< time since the last call

    /// The output that somebody chose, which is above the present one while it is held down: what a restart
    /// shall find.
    /// @param light  the control of the light output
    int GetWanted(const CProjCon& light) const noexcept;

    static constexpr double kLimit = 70.0;                        ///< °C, above it the light comes down
    static constexpr double kRelease = 65.0;                      ///< °C, below it the light comes back
    static constexpr double kStepFraction = 0.05;                 ///< of the control's range
    static constexpr double kLeastFraction = 0.20;                ///< of the range, lower it never goes
    static constexpr std::chrono::milliseconds kStepPeriod{2000}; ///< one step in this time

private:
    bool IsHeldDown(const CProjCon& light) const noexcept;
    void Lower(CProjCon& light, int softMaximum, double celsius);
    void Raise(CProjCon& light, int softMaximum);

    CEventDispatcher& mDispatcher;
    const std::string mCode;
    const std::function<double()> mMeasure; // °C
    ILog& mLog;
    std::chrono::milliseconds mSinceStep{0};
    bool mDerated = false;
    int mWanted = 0; // output before the first step down; meaningful while derated
};
