// Lines of the control process: what they get, what they pass on, and how they leave each other alone.
#include "tests/software/bp/serial/CSerialFixture.h"

#include "software/bp/serial/CCustomEventHandler.h"
#include "software/bp/serial/CPseudoPort.h"

#include <thread>

#include <fcntl.h>
#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace
{
class CSlowHandler : public CCustomEventHandler
{
public:
    using CCustomEventHandler::CCustomEventHandler;
    unsigned mCalls = 0;

protected:
    bool HandleIpcRequest(const CIpcMessage&, std::list<CIpcMessage>&) override
    {
        ++mCalls;
        std::this_thread::sleep_for(CSerialHandler::kQuantum);
        return true;
    }
};

class CSerialHandlerTest : public CSerialFixture
{
protected:
    void LogIn(EAccessLevel level)
    {
        EXPECT_EQ(Say("(UID \"anna\" \"secret\")"), "");
        mLogIn.Answer(level);
        EXPECT_EQ(Say(""), "(UID!00" + std::to_string(level) + ")");
    }
};
} // namespace

TEST_F(CSerialHandlerTest, LinesReachTheControls)
{
    const std::pair<const char*, const char*> cases[] = {
        {"(PWR1)", "(PWR!001)"},
        {"(PWR?)", "(PWR!001)"},
        {"(pwr 0)(PWR?)", "(PWR!000)(PWR!000)"},
        {"(KST+TLPX -12)", "(KST+TLPX!-012)"},
        {"(KST+TLPX?M)", "(KST+TLPX!-400 400)"},
        {"(NME \"Saal \\(1\\)\")", "(NME!\"Saal \\(1\\)\")"},
        {"(SRC?)", "(SRC!001 \"HDMI 2\")"},
        {"(SRC? L)", "(SRC!L001 001 00000 \"HDMI 1\")(SRC!L001 001 00001 \"HDMI 2\")"
                     "(SRC!L000 000 00003 \"SDI\")(SRC!L000 000 00111 \"--END--\")"},
        {"(PWR?E)", "(PWR!000)"},
        {"(RST)", "(RST!000)"},
        {"(BRI 5)", "(65535 ERR00101 \"BRI: Control Not Found\")"},
        {"(KST+NOPE?)", "(65535 ERR00101 \"KST+NOPE: Control Not Found\")"},
        {"(PWR)", "(65535 ERR00005 \"PWR: Too Few Parameters\")"},
        {"(KST+TLPX)", "(65535 ERR00005 \"KST+TLPX: Too Few Parameters\")"},
        {"(PWR A1)", "(65535 ERR00009 \"PWR: Unsupported modifier\")"},
        {"(PWR?Q)", "(65535 ERR00009 \"PWR: Unsupported modifier\")"},
        {"(NME 5)", "(65535 ERR00103 \"NME: Wrong Control Type\")"},
        {"(FN1 5)", "(65535 ERR00105 \"FN1: This control is read-only\")"},
        {"(SVO?)", "(65535 ERR00117 \"SVO: Invalid Access Group\")"},
        {"(MMM+MAIN?)", "(65535 ERR00103 \"MMM+MAIN: This control can not be read\")"},
        {"(P\x01\"?)", "(65535 ERR00101 \"P?\\\": Control Not Found\")"},
        {"($PWR 1)", "(PWR!001)$"},
        {"($BRI 1)", "(65535 ERR00101 \"BRI: Control Not Found\")^"},
        {"($BRI?)", "(65535 ERR00101 \"BRI: Control Not Found\")^"},
        {"($PWR?)", "(PWR!001)$"},
        {"($ERR00101)", "$"},
        {"($PWR!1)", "^"},
        {"(DGN)", "(65535 ERR00101 \"DGN: Control Not Found\")"},
        {"(#PWR?)", "(#PWR!001)"},
    };
    for (const auto& [bytes, answer] : cases)
        EXPECT_EQ(Say(bytes), answer) << bytes;
}

TEST_F(CSerialHandlerTest, ErrorsGoWhereTheMessageWent)
{
    CVarnholtSerialParser::UpdateAddress(7);
    EXPECT_EQ(Say("(00007 00003 BRI?)"), "(00007 00007 ERR00101 \"BRI: Control Not Found\")");
    EXPECT_EQ(Say("(BRI?)"), "(65535 00007 ERR00101 \"BRI: Control Not Found\")");
}

TEST_F(CSerialHandlerTest, RemoteAccessDecidesWhatLinesMayDo)
{
    CVarnholtSerialParser::UpdateRemoteAccess(eRemoteAccessReadOnly);
    EXPECT_EQ(Say("($PWR 1)"), "(65535 ERR00007 \"PWR: Command not executed\")^");
    EXPECT_EQ(Say("(PWR?)(NOT R\"PWR\")"), "(PWR!000)");
    CVarnholtSerialParser::UpdateRemoteAccess(eRemoteAccessOff);
    EXPECT_EQ(Say("(PWR?)"), "(65535 ERR00007 \"PWR: Command not executed\")");
    EXPECT_EQ(Say("(NOT R\"PWR\")"), "(65535 ERR00007 \"NOT: Command not executed\")");
    LogIn(eAccessProtected);
}

TEST_F(CSerialHandlerTest, ChangesArriveOnTheLineThatRegistered)
{
    CScriptedPort* const other = AddScripted();
    EXPECT_EQ(Say("($NOT R\"pwr\" W\"KST+TLPX\" R\"NME\")"), "(KST+TLPX!007)$");
    mPower.SetValue(1);
    mKeystone.SetValue(-5);
    mName.SetText("x(y");
    mPower.SetProgEnabled(false); // has no value to show
    mFan.SetValue(5);
    EXPECT_EQ(mPort->Take(), "(PWR!001)(KST+TLPX!-005)(NME!\"x\\(y\")");
    EXPECT_EQ(other->Take(), "");
    EXPECT_EQ(Say(other, "(KST+TLPX 3)"), "(KST+TLPX!003)");
    EXPECT_EQ(mPort->Take(), "(KST+TLPX!003)");

    EXPECT_EQ(Say("(NOT U\"PWR\")"), "");
    mPower.SetProgEnabled(true);
    mPower.SetValue(0);
    EXPECT_EQ(Say("(NOT U\"*\")"), "");
    mKeystone.SetValue(9);
    EXPECT_EQ(mPort->Take(), "");
}

TEST_F(CSerialHandlerTest, EveryFailedRegistrationIsErrorThree)
{
    const std::string start = "(65535 ERR00003 \"NOT: Notification System Error: ";
    EXPECT_EQ(Say("($NOT)"), start + "Needs at least 2 arguments \\(1\\)\")^");
    EXPECT_EQ(Say("(NOT 5)"), start + "Invalid \\(non-text\\) argument 5\")");
    EXPECT_EQ(Say("(NOT R\"XYZ\")"), start + "XYZ NOT FOUND!\")");
    EXPECT_EQ(Say("(NOT \"PWR\")"), start + "Unsupported modifier\")");
    std::string many = "(NOT";
    for (int i = 0; i < 128; ++i)
        many += " R\"PWR\"";
    EXPECT_EQ(Say(many + ")"), "(65535 ERR00003 \"NOT: Too Many Parameters\")");
}

TEST_F(CSerialHandlerTest, LogInsAreAnsweredWhenTheyAreChecked)
{
    EXPECT_EQ(Say("(SVO?)"), "(65535 ERR00117 \"SVO: Invalid Access Group\")");
    EXPECT_EQ(Say("($UID \"anna\" \"secret\")(SVO?)(PWR"), "") << "the line waits";
    EXPECT_THAT(mLogIn.mAsked, ElementsAre("anna/secret/scripted"));
    EXPECT_EQ(Say("?)"), "");
    CScriptedPort* const other = AddScripted();
    EXPECT_EQ(Say(other, "(PWR?)"), "(PWR!000)") << "nobody else does";
    mLogIn.Answer(eAccessProtected);
    EXPECT_EQ(Say(""), "(UID!006)$(SVO!005)(PWR!000)");
    EXPECT_EQ(Say(other, "(SVO?)"), "(65535 ERR00117 \"SVO: Invalid Access Group\")");

    EXPECT_EQ(Say("($UID? \"anna\" \"wrong\")"), "");
    mLogIn.Answer(eAccessNone);
    EXPECT_EQ(Say(""), "(65535 ERR00117 \"UID: Invalid user name or password\")^");
    EXPECT_EQ(Say("(SVO?)"), "(SVO!005)") << "a failed log-in takes nothing away";
    for (const char* bytes :
         {"($UID)", "($UID \"anna\")", "($UID anna secret)", "($UID \"anna\" 5)", "($UID \"\" \"\")"})
        EXPECT_EQ(Say(bytes), "(65535 ERR00005 \"UID: Missing user/password or quotes\")^") << bytes;
    for (const auto& line : mLog.GetLines())
        EXPECT_EQ(line.mText.find("secret"), std::string::npos) << line.mText;
}

TEST_F(CSerialHandlerTest, LogInsFailWithoutAccountsOrWhenTheyCanNotBeChecked)
{
    const std::string refusal = "(65535 ERR00117 \"UID: Invalid user name or password\")^";
    mHandler.SetLogIn(nullptr);
    EXPECT_EQ(Say("($UID \"anna\" \"secret\")(PWR?)"), refusal + "(PWR!000)");
    mHandler.SetLogIn(&mLogIn);
    mLogIn.mThrows = true;
    EXPECT_EQ(Say("($UID \"anna\" \"secret\")(PWR?)"), refusal + "(PWR!000)");
}

TEST_F(CSerialHandlerTest, ALogInMayEndAfterItsLine)
{
    EXPECT_EQ(Say("(UID \"anna\" \"secret\")"), "");
    mPort->mFails = true;
    mHandler.BroadcastKey(1);
    mHandler.Update(); // the line goes
    mLogIn.Answer(eAccessProtected);
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "Serial port scripted closed"));
}

TEST_F(CSerialHandlerTest, AnIdleLogInEndsWithItsProtectedRegistrations)
{
    LogIn(eAccessProtected);
    EXPECT_EQ(Say("(NOT R\"SVO\" R\"PWR\" R\"PWR\")"), "");
    mClock.Advance(3600 * kTicks);
    EXPECT_EQ(Say("(SVO 6)"), "(SVO!006)(SVO!006)") << "after 3600 s, which it begins anew";
    mClock.Advance(3600 * kTicks + 1);
    EXPECT_EQ(Say("(PWR?)(SVO?)"), "(PWR!000)(SVO!006)");
    mClock.Advance(3600 * kTicks + 2); // the first tick of a slow clock is not counted
    mHandler.Update();
    mService.SetValue(7);
    mPower.SetValue(1);
    EXPECT_EQ(mPort->Take(), "(PWR!001)");
    EXPECT_EQ(Say("(SVO?)"), "(65535 ERR00117 \"SVO: Invalid Access Group\")");
    EXPECT_TRUE(
        mLog.Has(ELogLevel::Normal, "Serial port scripted: anna logged out after 3600 s without a message"));
}

TEST_F(CSerialHandlerTest, AWeakerLogInEndsProtectedRegistrationsToo)
{
    LogIn(eAccessProtected);
    EXPECT_EQ(Say("(NOT R\"SVO\" R\"PWR\")"), "");
    LogIn(eAccessUser);
    mService.SetValue(7);
    mPower.SetValue(1);
    EXPECT_EQ(mPort->Take(), "(PWR!001)");
}

TEST_F(CSerialHandlerTest, RelaysByTheTables)
{
    CVarnholtSerialParser::UpdateAddress(7);
    std::vector<CScriptedPort*> ports = {mPort};
    while (ports.size() < CSerialHandler::kMaxPorts)
        ports.push_back(AddScripted());
    EXPECT_THROW(AddScripted(), CException);

    struct SCase
    {
        ENetworkRouting mRouting;
        const char* mReached[5]; // from each port, those it reaches: 1 is the first
    };
    const SCase cases[] = {
        {eRouting2And4, {"2", "1", "", "", ""}},
        {eRouting2And4And8, {"23", "13", "12", "", ""}},
        {eRouting2And4And16, {"24", "14", "", "12", ""}},
        {eRoutingAll, {"2345", "1345", "1245", "1235", "1234"}},
    };
    for (const SCase& c : cases)
    {
        CVarnholtSerialParser::UpdateRouting(c.mRouting);
        for (std::size_t from = 0; from < ports.size(); ++from)
        {
            SCOPED_TRACE(std::to_string(c.mRouting) + " from port " + std::to_string(from));
            EXPECT_EQ(Say(ports[from], "(&00008 00003 PWR 1 \"a\\)\" 5)"), "");
            std::string reached;
            for (std::size_t to = 0; to < ports.size(); ++to)
            {
                const std::string output = ports[to]->Take();
                if (output.empty())
                    continue;
                reached += std::to_string(to + 1);
                EXPECT_EQ(output, "(&00008 00003 PWR1 \"a\\)\" 229)");
            }
            EXPECT_EQ(reached, c.mReached[from]);
        }
    }
}

TEST_F(CSerialHandlerTest, RelaysWhatMayBeForOthers)
{
    CVarnholtSerialParser::UpdateAddress(7);
    CScriptedPort* const other = AddScripted();
    struct SCase
    {
        const char* mLine;
        const char* mAnswer;
        const char* mRelayed;
    };
    const SCase cases[] = {
        {"(00007 PWR?)", "(PWR!000)", ""},
        {"(65534 PWR?)", "(PWR!000)", ""},
        {"(00008 PWR?)", "", "(00008 PWR?)"},
        {"(65535 PWR?)", "(PWR!000)", "(65535 PWR?)"},
        {"(PWR?)", "(PWR!000)", "(PWR?)"},
        {"(65535 00007 PWR?)", "(00007 00007 PWR!000)", ""}, // our own, come round a ring
        {"(00008 UID \"a\" \"b\")", "", ""},
        {"(00008 PWR!1)", "", "(00008 PWR!1)"},
        {"(00008 KST+TLPX A1 \"x\")", "", "(00008 KST+TLPX A1 \"x\")"},
        {"($#00008 ERR00001)", "", "($00008 ERR00001)"},
        {"(00008 NME \"\xFF\")", "", ""},
    };
    for (const SCase& c : cases)
    {
        EXPECT_EQ(Say(c.mLine), c.mAnswer) << c.mLine;
        EXPECT_EQ(other->Take(), c.mRelayed) << c.mLine;
    }
    EXPECT_EQ(Say("(65535 UID \"a\" \"b\")"), "");
    EXPECT_EQ(other->Take(), "");
}

TEST_F(CSerialHandlerTest, APortThatFailsLeavesTheOthersAlone)
{
    CScriptedPort* const other = AddScripted();
    EXPECT_EQ(Say("(NOT R\"PWR\")"), "");
    mPort->mIsUnplugged = true;
    mHandler.Update();
    EXPECT_TRUE(mLog.Has(ELogLevel::Error, "Serial port scripted closed"));
    EXPECT_EQ(Say(other, "(PWR 1)"), "(PWR!001)");
    mHandler.BroadcastKey(12);
    mHandler.ProcessErrors("hot", ELogLevel::Warning, eFyiThermal);
    EXPECT_EQ(other->Take(), "(65535 KEY012)(65535 ERR00005 \"System Warning: hot\")");
}

TEST_F(CSerialHandlerTest, AFloodIsServedInBoundedParts)
{
    CScriptedPort* const other = AddScripted();
    std::string flood;
    while (flood.size() < 100000)
        flood += "(PWR?)x";
    mPort->mInput = flood;
    other->mInput = "(PWR?)";
    mHandler.Update();
    // Fewer than the limit if this machine pauses the test for the time of a turn.
    const std::size_t answered = mPort->Take().size() / std::string("(PWR!000)").size();
    EXPECT_GE(answered, 1u);
    EXPECT_LE(answered, CSerialHandler::kMessagesPerPass);
    EXPECT_EQ(other->Take(), "(PWR!000)");
    pollfd ready{mHandler.GetDescriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&ready, 1, 0), 1) << "there is more to do";

    // What takes longer than a turn is done once in a pass, and no line goes without.
    mPort->mInput.clear();
    Say(""); // the rest of what was read
    CSlowHandler slow(mDispatcher, "SLW", false);
    mPort->mInput = other->mInput = "(SLW?)(SLW?)(SLW?)";
    for (unsigned pass = 1; pass <= 3; ++pass)
    {
        mHandler.Update();
        EXPECT_EQ(slow.mCalls, 2 * pass);
    }
    mDispatcher.RemoveCustomHandler("SLW");
}

namespace
{
/// Real pseudo-terminals, and clients that open their other sides.
class CSerialPtyTest : public CSerialFixture
{
protected:
    static constexpr int kPatienceMs = 300;

    std::string Link(int index) const { return mFolder.File("serial" + std::to_string(index)); }
    CDescriptor OpenLine(int index)
    {
        return CDescriptor(::open(Link(index).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    }
    void AddPty(int index) { mHandler.AddPort(std::make_unique<CPseudoPort>(Link(index))); }

    static void Send(const CDescriptor& line, const std::string& bytes)
    {
        EXPECT_EQ(::write(line.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// Drives the loop until that much has arrived, or nothing more comes.
    std::string Receive(const CDescriptor& line, std::size_t size)
    {
        std::string received;
        pollfd ready[] = {{mHandler.GetDescriptor(), POLLIN, 0}, {line.Get(), POLLIN, 0}};
        while (received.size() < size && ::poll(ready, 2, kPatienceMs) > 0)
        {
            mHandler.Update();
            char buffer[4096];
            const ssize_t count = ::read(line.Get(), buffer, sizeof buffer);
            if (count > 0)
                received.append(buffer, static_cast<std::size_t>(count));
        }
        return received;
    }
    std::string Ask(const CDescriptor& line, const std::string& bytes, const std::string& expected)
    {
        Send(line, bytes);
        return Receive(line, expected.size());
    }
    bool IsReady() const
    {
        pollfd ready{mHandler.GetDescriptor(), POLLIN, 0};
        return ::poll(&ready, 1, 0) == 1;
    }
};
} // namespace

TEST_F(CSerialPtyTest, ClientsComeAndGo)
{
    mPort->mIsUnplugged = true; // it would be ready for ever
    mHandler.Update();
    AddPty(0);
    for (int visit = 0; visit < 3; ++visit)
    {
        const CDescriptor line = OpenLine(0);
        ASSERT_TRUE(line.IsOpen());
        EXPECT_EQ(Ask(line, "(PWR?)", "(PWR!000)"), "(PWR!000)");
        EXPECT_EQ(Receive(line, 0), "") << "no echo";
    }
    mHandler.Update();
    EXPECT_FALSE(IsReady()) << "a line without a reader keeps nobody busy";
    EXPECT_FALSE(mLog.Has(ELogLevel::Error, "Serial port " + Link(0) + " closed"));

    std::string last = "(PWR1)"; // more than one read takes, by somebody who does not wait for it
    while (last.size() < 3500)
        last += "(PWR0)(PWR1)";
    Send(OpenLine(0), last);
    mPower.SetValue(0);
    for (pollfd ready{mHandler.GetDescriptor(), POLLIN, 0}; ::poll(&ready, 1, kPatienceMs) == 1;)
        mHandler.Update();
    EXPECT_EQ(mPower.GetValue(), 1);
    EXPECT_EQ(Receive(OpenLine(0), 1), "") << "nothing stale";
}

TEST_F(CSerialPtyTest, EveryByteValueArrivesAsItIs)
{
    AddPty(0);
    const CDescriptor line = OpenLine(0);
    std::string text;
    for (int byte = 1; byte < 128; ++byte)
    {
        if (std::string("\"()\\\n\x11\x13").find(static_cast<char>(byte)) == std::string::npos)
            text += static_cast<char>(byte);
    }
    Ask(line, "(NME \"" + text + "\")", "(NME!\"" + text + "\")");
    EXPECT_EQ(mName.GetText(), text);
}

TEST_F(CSerialPtyTest, ALineThatNobodyReadsDelaysNobody)
{
    mPort->mIsUnplugged = true;
    mHandler.Update();
    AddPty(1);
    AddPty(2);
    const CDescriptor stuck = OpenLine(1);
    const CDescriptor line = OpenLine(2);
    const std::string warning = "Serial port " + Link(1) + " takes no output: what is sent now is lost";
    mName.SetText(std::string(4000, 'n'));
    for (int i = 0; i < 100; ++i)
    {
        Send(stuck, "(NME?)");
        EXPECT_EQ(Ask(line, "(PWR?)", "(PWR!000)"), "(PWR!000)");
    }
    for (int i = 0; i < 20; ++i) // the short answers find room behind what waits, the long ones do not
        Send(stuck, "(PWR?)(NME?)");
    Receive(line, 1);
    EXPECT_EQ(mLog.Count(warning), 1u);
    EXPECT_FALSE(IsReady()) << "it waits until the port takes more";

    // When it is read again, whole messages are what was kept.
    const std::string reply = "(NME!\"" + std::string(4000, 'n') + "\")";
    std::string kept = Receive(stuck, 80 * reply.size());
    const std::string power = "(PWR!000)";
    for (std::size_t at = 0; (at = kept.find(power, at)) != std::string::npos;)
        kept.erase(at, power.size());
    EXPECT_GE(kept.size(), CCommPort::kMaxOutput - reply.size());
    EXPECT_EQ(kept.size() % reply.size(), 0u);
    EXPECT_TRUE(kept.compare(kept.size() - reply.size(), reply.size(), reply) == 0);

    for (int i = 0; i < 30; ++i)
    {
        Send(stuck, "(NME?)");
        Ask(line, "(PWR?)", power);
    }
    EXPECT_EQ(mLog.Count(warning), 2u) << "it had recovered";
}
