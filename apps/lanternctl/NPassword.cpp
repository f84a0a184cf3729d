// The echo comes back by whatever way the question ends.
#include "apps/lanternctl/NPassword.h"

#include "apps/lanternctl/CCommandFailure.h"
#include "software/utility/NPosix.h"

#include <cstdlib>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace
{
constexpr char kVariable[] = "LANTERN_PASSWORD";
constexpr std::size_t kMaxLine = 4096; // bytes; more than any password has

// While it lives the terminal shows nothing of what is typed, and no key ends the program: those that do
// otherwise end the line.
class CSilence
{
public:
    CSilence()
    {
        mIsTerminal = ::tcgetattr(STDIN_FILENO, &mOld) == 0;
        if (!mIsTerminal)
            return;
        termios silent = mOld;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
        silent.c_lflag |= ECHONL;
        silent.c_cc[VEOL] = mOld.c_cc[VINTR];
        silent.c_cc[VEOL2] = mOld.c_cc[VQUIT];
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    CSilence(const CSilence&) = delete;
    CSilence& operator=(const CSilence&) = delete;
    ~CSilence()
    {
        if (mIsTerminal)
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &mOld);
    }
    bool IsTerminal() const noexcept { return mIsTerminal; }
    bool IsEndKey(char byte) const noexcept // Ctrl-C and Ctrl-\, if they mean what they do mostly
    {
        const auto key = static_cast<cc_t>(byte);
        return mIsTerminal && key != _POSIX_VDISABLE && (key == mOld.c_cc[VINTR] || key == mOld.c_cc[VQUIT]);
    }

private:
    termios mOld{};
    bool mIsTerminal = false;
};

// Byte by byte, so that what follows stays for whoever reads next.
std::string ReadLine(const CSilence& silence)
{
    std::string line;
    char byte = 0;
    while (NPosix::RetryOnInterrupt([&] { return ::read(STDIN_FILENO, &byte, 1); }) == 1 && byte != '\n')
    {
        if (silence.IsEndKey(byte) || line.size() == kMaxLine)
            throw CCommandFailure(EExitCode::WrongUsage, "no password was given");
        line += byte;
    }
    if (line.empty())
        throw CCommandFailure(EExitCode::WrongUsage, "no password was given");
    return line;
}
} // namespace

std::string NPassword::Ask(const std::string& question, bool twice)
{
    const CSilence silence;
    if (!silence.IsTerminal())
        return ReadLine(silence);
    std::cerr << question << ": " << std::flush;
    std::string password = ReadLine(silence);
    if (!twice)
        return password;
    std::cerr << "Again: " << std::flush;
    if (ReadLine(silence) != password)
        throw CCommandFailure(EExitCode::WrongUsage, "the two passwords differ");
    return password;
}

std::string NPassword::GetForLogIn(const std::string& user)
{
    const char* const given = std::getenv(kVariable);
    return given != nullptr && *given != '\0' ? given : Ask("Password of " + user, false);
}
