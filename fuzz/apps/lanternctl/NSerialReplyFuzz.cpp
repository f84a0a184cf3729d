// What a serial device says. A message that is understood is written and understood in the same way again.
#include "apps/lanternctl/CSerialReader.h"
#include "apps/lanternctl/NSerialReply.h"
#include "software/bp/serial/NSerialFormat.h"
#include "software/utility/CIpcMessage.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    CSerialReader reader;
    reader.Take({reinterpret_cast<const char*>(data), size});
    while (const auto item = reader.Next())
    {
        CIpcMessage message;
        if (!NSerialReply::Parse(*item, message))
            continue;
        std::string line;
        NSerialFormat::Format(message, line);
        CIpcMessage again;
        std::string lineAgain;
        if (!NSerialReply::Parse(line, again))
            std::abort();
        NSerialFormat::Format(again, lineAgain);
        if (line != lineAgain)
            std::abort();
    }
    return 0;
}
