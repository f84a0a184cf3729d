// One line a system call, repeated while a signal interrupts it.
#include "software/utility/CPosixFile.h"

#include "software/utility/CException.h"
#include "software/utility/NPosix.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
constexpr char kSource[] = "software/utility/CPosixFile";
}

CPosixFile::CPosixFile(const std::string& path, EAccess access)
    : mFile(NPosix::RetryOnInterrupt(
          [&] { return ::open(path.c_str(), (access == eReadOnly ? O_RDONLY : O_RDWR) | O_CLOEXEC); }))
    , mAccess(access)
{
    if (!mFile.IsOpen())
        throw CException(__func__, kSource, __LINE__, true, "Unable to open %s", path.c_str());
}

CPosixFile::~CPosixFile()
{
    for (const SMapping& mapping : mMappings)
        ::munmap(mapping.mAddress, mapping.mSize);
}

int CPosixFile::Ioctl(unsigned long request, void* argument)
{
    return NPosix::RetryOnInterrupt([&] { return ::ioctl(mFile.Get(), request, argument); });
}

std::ptrdiff_t CPosixFile::Read(void* buffer, std::size_t size)
{
    return NPosix::RetryOnInterrupt([&] { return ::read(mFile.Get(), buffer, size); });
}

std::ptrdiff_t CPosixFile::Write(const void* buffer, std::size_t size)
{
    return NPosix::RetryOnInterrupt([&] { return ::write(mFile.Get(), buffer, size); });
}

volatile void* CPosixFile::Map(std::size_t size, std::uint64_t offset)
{
    mMappings.reserve(mMappings.size() + 1); // what is mapped is remembered, whatever happens
    const int protection = mAccess == eReadOnly ? PROT_READ : PROT_READ | PROT_WRITE;
    void* address = ::mmap(nullptr, size, protection, MAP_SHARED, mFile.Get(), static_cast<off_t>(offset));
    if (address == MAP_FAILED)
        return nullptr;
    mMappings.push_back({address, size});
    return address;
}
