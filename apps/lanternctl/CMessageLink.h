// A projector reached by the messages of its control core.
#pragma once

#include "apps/lanternctl/IProjectorLink.h"
#include "apps/lanternctl/NWait.h"
#include "software/include/EError.h"

#include <deque>
#include <list>
#include <set>
#include <string>

class CIpcMessage;

/// What the local IPC and the serial line have in common: what is asked, and what the answers mean. Numbers
/// are shown and taken as they are, for a message tells neither decimals nor unit; the chosen entry of a list
/// comes with its text.
class CMessageLink : public IProjectorLink
{
public:
    Json::Value Get(const std::string& code) override;
    Json::Value Set(const std::string& code, const Json::Value& value) override;
    std::optional<CControlInfo> Describe(const std::string& code, ENeed need) override;
    std::vector<std::string> GetStatusGroups() override;
    std::vector<Json::Value> GetStatusItems(const std::string& group) override;
    std::vector<Json::Value> GetAlarms() override;
    void WatchAlarms() override; ///< @throws CCommandFailure (wrong usage): no message tells of them
    EWait WaitForChange(Json::Value& change, std::optional<std::chrono::milliseconds> timeout,
                        int interrupt) override;

protected:
    struct SRefusal
    {
        EError mError = eErrorNone;
        std::string mText; ///< the projector's own words; empty for those of the error
    };
    using Refusal = std::optional<SRefusal>; ///< none: it was done

    /// Sends a request; without a refusal there is at least one reply.
    virtual Refusal Request(CIpcMessage& request, std::list<CIpcMessage>& replies) = 0;
    virtual Refusal Command(CIpcMessage& command, CIpcMessage& reply) = 0;
    /// Takes in what has arrived; `Change` means that there may be something new.
    virtual EWait Receive(const NWait::Deadline& deadline, int interrupt) = 0;

    /// Keeps a notification for `WaitForChange`.
    void TakeNotification(const CIpcMessage& notification);
    /// What was taken and not waited for yet, oldest first.
    std::deque<Json::Value>& GetChanges() noexcept { return mChanges; }
    /// Asks for one fact. @param modifier  0 for the value
    Refusal Ask(const std::string& code, unsigned char modifier, std::list<CIpcMessage>& replies);
    /// Adds a fact to the raw members; one that the projector refuses to tell is left out.
    void AddFact(Json::Value& members, const std::string& code, unsigned char modifier);

    [[noreturn]] static void FailRefused(const std::string& subject, const SRefusal& refusal);

private:
    std::vector<Json::Value> AskStatus(const std::string& subject, const std::string& name);
    void AddChoices(Json::Value& members, const std::string& code);
    void Complete(Json::Value& change);

    std::deque<Json::Value> mChanges;
    std::set<std::string> mLists; // codes of list controls, as far as they were described
};
