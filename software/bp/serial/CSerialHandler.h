// All serial ports of the unit.
#pragma once

#include "software/include/EFyiCode.h"
#include "software/include/ELogLevel.h"
#include "software/utility/CDescriptor.h"
#include "software/utility/CSelectWrapper.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class CCommPort;
class CEventLink;
class CSerialParser;
class ILog;
class ILogIn;
class IMonotonicClock;

/// Owns the ports with their parsers and serves them in turn, a part of each in one pass that is bounded in
/// messages and in time, so that a flood on one line, or on all, delays nobody. A port that fails loses its
/// parser; the others go on. Used from the loop's thread only.
class CSerialHandler
{
public:
    using LinkFactory = std::function<std::unique_ptr<CEventLink>()>;

    static constexpr std::size_t kMaxPorts = 5;
    static constexpr unsigned kMessagesPerPass = 16; ///< of each port
    /// Of each port in one pass: no message is begun after it, but the first always is.
    static constexpr std::chrono::microseconds kQuantum{200};

    /// @param makeLink  makes the link of each port: one that answers on the calling thread
    /// @param clock     for log-ins that nobody uses; it wraps after more than an hour. Not owned, must
    /// outlive
    ///                  the handler
    CSerialHandler(LinkFactory makeLink, const IMonotonicClock& clock, ILog& log);
    CSerialHandler(const CSerialHandler&) = delete;
    CSerialHandler& operator=(const CSerialHandler&) = delete;
    ~CSerialHandler();

    /// Adds a port, which gets the next number: 2, 4, 8, 16, 32.
    /// @returns its number
    /// @throws CException "At most %zu serial ports", "Unable to watch descriptor %d"
    unsigned char AddPort(std::unique_ptr<CCommPort> port);

    /// Serves what has arrived, without waiting.
    void Update();
    /// Readable when `Update` has something to do: the host adds it to its wait once. Besides, it calls
    /// `Update` several times a minute, for log-ins that nobody uses.
    int GetDescriptor() const noexcept { return mSelect.GetDescriptor(); }
    /// Has `Update` look again at a line that was waiting.
    void Wake() noexcept;

    /// Writes a formatted message to every other port in the set.
    void RelayMessage(const CSerialParser* from, const unsigned char* bytes, int length, unsigned char mask);
    /// Announces a key that was pressed, or an error of the unit, on every line.
    void BroadcastKey(int key);
    void ProcessErrors(const std::string& text, ELogLevel level, EFyiCode code);

    /// @param logIn  not owned, must outlive the handler; null: every log-in is refused
    void SetLogIn(ILogIn* logIn) noexcept { mLogIn = logIn; }
    ILogIn* GetLogIn() const noexcept { return mLogIn; }
    const IMonotonicClock& GetClock() const noexcept { return mClock; }

private:
    struct SLine;

    void ClearWake() noexcept;
    void TakeReady();
    void Serve(SLine& line);
    void Watch(SLine& line);
    void Close(SLine& line);

    const LinkFactory mMakeLink;
    const IMonotonicClock& mClock;
    ILog& mLog;
    ILogIn* mLogIn = nullptr;
    CDescriptor mWake; // an eventfd: lines have work that no descriptor tells of
    CSelectWrapper mSelect;
    std::vector<std::unique_ptr<SLine>> mLines; // in the order of their numbers, closed ones included
};
