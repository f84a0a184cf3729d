// The simulated companion module on a socket, with the faults that a real line has.
#pragma once

#include "cep/CCepParser.h"
#include "simulator/CSimulatedModule.h"
#include "software/bp/serial/CIpcListener.h"
#include "software/utility/CSelectWrapper.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// What happens to a reply on its way.
enum class EModuleFault
{
    None,
    Noise,   ///< bytes in front of it that are no message, among them half a magic
    Damage,  ///< one of its bytes is changed
    Stretch, ///< it announces more bytes than there are, and the sound one follows
    Cut,     ///< only its first half comes
    Silence, ///< nothing comes
    Late,    ///< it comes with the next reply
};

/// Any number of clients, each with a parser of its own; all talk to one module. Used from one thread.
class CSimulatedModuleServer
{
public:
    struct SFaults
    {
        EModuleFault mFault = EModuleFault::None;
        unsigned mEvery = 1;                 ///< every so many replies; above 0
        std::chrono::milliseconds mDelay{0}; ///< of every reply
    };

    /// @param socketName   a Unix stream socket, made here
    /// @throws CException  as `CIpcListener`
    CSimulatedModuleServer(const std::string& socketName, ILog& log);

    void SetFaults(const SFaults& faults) noexcept { mFaults = faults; }

    /// Waits for clients and their requests, and answers them.
    void ProcessEvents(std::chrono::milliseconds timeout);
    void AddWake(int descriptor) { mSelect.AddWake(descriptor); } ///< ends the wait; not owned

    static const char* GetName(EModuleFault fault) noexcept;
    /// @returns whether there is a fault of this name
    static bool FindFault(std::string_view name, EModuleFault& fault) noexcept;
    static constexpr char kFaultNames[] = "noise, damage, stretch, cut, silence, late";

private:
    using Clock = std::chrono::steady_clock;
    struct SReply
    {
        Clock::time_point mDue;
        std::string mBytes;
    };
    struct SClient
    {
        explicit SClient(CDescriptor socket);
        CDescriptor mSocket;
        LibMarlix::CCepParser mParser;
        std::deque<SReply> mReplies;
        std::string mHeldBack; // a late reply
    };

    void Accept();
    bool Read(SClient& client);
    void Answer(SClient& client, const LibMarlix::CCepMessage& request);
    bool SendDue(SClient& client);
    std::string Spoil(std::string reply, SClient& client);
    std::chrono::milliseconds GetWait(std::chrono::milliseconds timeout) const;
    void Remove(std::uint64_t tag);

    ILog& mLog;
    CSimulatedModule mModule;
    CIpcListener mListener;
    CSelectWrapper mSelect;
    SFaults mFaults;
    unsigned mReplyCount = 0;
    std::uint64_t mLastTag = 0; // of the listener; those of the clients follow
    std::map<std::uint64_t, SClient> mClients;
};
