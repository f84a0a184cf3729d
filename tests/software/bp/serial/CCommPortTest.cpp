// Ports: descriptions, terminal settings, the link of a pseudo-terminal.
#include "software/bp/serial/CCommPort.h"

#include "software/bp/serial/CPseudoPort.h"
#include "software/bp/serial/NCommPort.h"
#include "software/utility/CException.h"
#include "tests/support/CTemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

using ::testing::HasSubstr;

namespace
{
std::string WhyRefused(const std::string& description, const std::string& link)
{
    try
    {
        NCommPort::Open(description, link);
    }
    catch (const CException& e)
    {
        return e.GetMessage();
    }
    return "opened";
}

std::string ReadAll(CCommPort& port)
{
    unsigned char buffer[256];
    std::string bytes;
    for (int count = 0; (count = port.Read(buffer, sizeof buffer)) > 0;)
        bytes.append(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(count));
    return bytes;
}

void Write(CCommPort& port, const std::string& bytes)
{
    EXPECT_TRUE(
        port.Write(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size())));
}
} // namespace

TEST(CommPort, RefusesWhatIsNoPort)
{
    const CTemporaryFolder folder;
    std::ofstream(folder.File("file")) << "x";
    EXPECT_EQ(WhyRefused(folder.File("none"), ""), "Unable to open serial port " + folder.File("none"));
    EXPECT_EQ(WhyRefused(folder.File("file"), ""), folder.File("file") + " is no serial port");
    EXPECT_EQ(WhyRefused("/dev/null:9600", ""), "/dev/null is no serial port");
    EXPECT_EQ(WhyRefused("/dev/null:9601", ""), "Unsupported baud rate 9601");
    EXPECT_EQ(WhyRefused("/dev/null:", ""), "Invalid baud rate in /dev/null:");
    EXPECT_EQ(WhyRefused("/dev/null:99999999999", ""), "Invalid baud rate in /dev/null:99999999999");
    EXPECT_EQ(WhyRefused("/dev/no:0:1.0-port0", ""), "Unable to open serial port /dev/no:0:1.0-port0");
    EXPECT_EQ(WhyRefused("pty", folder.File("file")), folder.File("file") + " exists and is no link");
    EXPECT_THAT(WhyRefused("pty", folder.File("no/where")),
                HasSubstr("Unable to link " + folder.File("no/where") + " to /dev/pts/"));
}

TEST(CommPort, OpensADeviceRawAtItsSpeed)
{
    const CTemporaryFolder folder;
    const CDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(master.IsOpen() && ::grantpt(master.Get()) == 0 && ::unlockpt(master.Get()) == 0);
    char device[64];
    ASSERT_EQ(::ptsname_r(master.Get(), device, sizeof device), 0);

    const auto port = NCommPort::Open(std::string(device) + ":19200", "");
    EXPECT_TRUE(CDescriptor(::open(device, O_RDWR | O_NOCTTY | O_CLOEXEC)).IsOpen())
        << "no wire, so not for us alone";
    termios settings{};
    ASSERT_EQ(::tcgetattr(port->GetDescriptor(), &settings), 0);
    EXPECT_EQ(::cfgetispeed(&settings), static_cast<speed_t>(B19200));
    EXPECT_EQ(::cfgetospeed(&settings), static_cast<speed_t>(B19200));
    EXPECT_EQ(settings.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), static_cast<tcflag_t>(CS8));
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON | ISIG), 0u);
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | ICRNL), 0u);
    EXPECT_EQ(settings.c_oflag & OPOST, 0u);

    unsigned char byte = 0;
    EXPECT_EQ(port->Read(&byte, 1), CCommPort::kNothingYet);
    Write(*port, "a\n");
    EXPECT_TRUE(port->WriteChar('$'));
    std::string arrived;
    for (char c = 0; arrived.size() < 3 && ::read(master.Get(), &c, 1) == 1;)
        arrived += c;
    EXPECT_EQ(arrived, "a\n$");
    EXPECT_EQ(::write(master.Get(), "\r\x03", 2), 2);
    EXPECT_EQ(ReadAll(*port), "\r\x03");
}

TEST(CommPort, AnUnpluggedDeviceReadsNothing)
{
    CDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(master.IsOpen() && ::grantpt(master.Get()) == 0 && ::unlockpt(master.Get()) == 0);
    char device[64];
    ASSERT_EQ(::ptsname_r(master.Get(), device, sizeof device), 0);
    CCommPort port(device);
    master.Reset();
    unsigned char byte = 0;
    EXPECT_EQ(port.Read(&byte, 1), 0);
    EXPECT_THROW(port.WriteChar('x'), CException);
}

TEST(CommPort, KeepsOutputUpToTheLimit)
{
    const CTemporaryFolder folder;
    CPseudoPort port(folder.File("line"));
    const CDescriptor reader(
        ::open(folder.File("line").c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    const std::string message(1000, 'm');
    std::size_t taken = 0;
    while (
        port.Write(reinterpret_cast<const unsigned char*>(message.data()), static_cast<int>(message.size())))
        ++taken;
    EXPECT_TRUE(port.HasOutput());
    EXPECT_GE(taken * message.size(), CCommPort::kMaxOutput - message.size());

    std::size_t received = 0;
    char buffer[4096];
    for (int pass = 0; pass < 1000 && received < taken * message.size(); ++pass)
    {
        const ssize_t count = ::read(reader.Get(), buffer, sizeof buffer);
        received += count > 0 ? static_cast<std::size_t>(count) : 0;
        port.Flush();
    }
    EXPECT_EQ(received, taken * message.size());
    EXPECT_FALSE(port.HasOutput());

    const std::string large(2 * CCommPort::kMaxOutput, 'l');
    Write(port, large); // it may be as large as it likes when nothing else waits
}

TEST(PseudoPort, WhatALeaverDidNotReadIsDropped)
{
    const CTemporaryFolder folder;
    CPseudoPort port(folder.File("line"));
    const auto open = [&]
    { return CDescriptor(::open(port.GetSlaveName().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)); };
    const std::string large(2 * CCommPort::kMaxOutput, 'x');
    char buffer[4096];

    Write(port, "nobody is there");
    CDescriptor line = open();
    EXPECT_LT(::read(line.Get(), buffer, sizeof buffer), 0);
    Write(port, large);
    EXPECT_TRUE(port.HasOutput());
    EXPECT_EQ(::write(line.Get(), "last words", 10), 10);
    line.Reset();
    EXPECT_EQ(ReadAll(port), "last words");
    EXPECT_FALSE(port.IsConnected());
    EXPECT_FALSE(port.HasOutput());

    line = open();
    EXPECT_LT(::read(line.Get(), buffer, sizeof buffer), 0) << "nothing stale";
    Write(port, "to the second");
    pollfd ready{line.Get(), POLLIN, 0};
    EXPECT_EQ(::poll(&ready, 1, 5000), 1);
    EXPECT_EQ(::read(line.Get(), buffer, sizeof buffer), 13);
    termios settings{};
    EXPECT_EQ(::tcgetattr(line.Get(), &settings), 0);
    EXPECT_EQ(settings.c_lflag & (ECHO | ICANON), 0u) << "still raw";
}

TEST(PseudoPort, ItsLinkComesAndGoesWithIt)
{
    const CTemporaryFolder folder;
    const std::string link = folder.File("line");
    std::filesystem::create_symlink("/dev/pts/none", link); // left by a crash
    {
        const CPseudoPort first(link);
        EXPECT_EQ(std::filesystem::read_symlink(link).string(), first.GetSlaveName());
        const CPseudoPort second(link);
        EXPECT_EQ(std::filesystem::read_symlink(link).string(), second.GetSlaveName());
    }
    EXPECT_FALSE(std::filesystem::is_symlink(link));
    auto first = std::make_unique<CPseudoPort>(link);
    const CPseudoPort second(link);
    first.reset();
    EXPECT_TRUE(std::filesystem::is_symlink(link)) << "it leads to somebody else's by now";
}
