// What may reach the HDF library, and what it would do with the rest.
#include "software/bp/hwlogic/CHdfTextGuard.h"

#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

namespace
{
std::string Nested(std::size_t levels)
{
    std::string text;
    for (std::size_t i = 0; i < levels; ++i)
        text += "a {\n";
    for (std::size_t i = 0; i < levels; ++i)
        text += "}\n";
    return text;
}

std::string Path(std::size_t parts)
{
    std::string path = "a";
    while (--parts > 0)
        path += ".a";
    return path;
}
} // namespace

TEST(HdfTextGuard, LetsThroughWhatDataSetsAreMadeOf)
{
    const std::string texts[] = {
        "",
        "# a note\n\n  a = 1\r\nb.c_2 =\n",
        "a = {\nc := a\n",
        "a {\n  b {\n    c = 1\n  }\n}\n",
        "a << EOM\n} : b\n#include x\nEOMX\nEOM\nb = 1",
        "a [x, y=1,z=\"] = {\\\"\"] = 2\n",
        Nested(64),
        Path(64) + " = 1\n",
    };
    for (const std::string& text : texts)
        EXPECT_EQ(MessageOf([&] { CHdfTextGuard::CheckText(text); }), "") << text;
}

TEST(HdfTextGuard, RefusesWhatTheLibraryWouldFollowGuessOrSplit)
{
    const std::pair<std::string, std::string> cases[] = {
        {"a = 1\nb : a\n", "Line 2 of the HDF text: links are not followed"},
        {"a [x] : b\n", "Line 1 of the HDF text: links are not followed"},
        {"#include \"/etc/passwd\"\n", "Line 1 of the HDF text: files are not included"},
        {"#include \n", "Line 1 of the HDF text: files are not included"},
        {Nested(65), "Line 65 of the HDF text: nodes are nested too deep"},
        {"b {\n" + Path(64) + " = 1\n}\n", "Line 2 of the HDF text: nodes are nested too deep"},
        {"a {\n", "Line 1 of the HDF text: a brace is not closed"},
        {"}\n", "Line 1 of the HDF text: a brace is closed that was not opened"},
        {"a { }\n", "Line 1 of the HDF text: something follows the brace"},
        {"a {\n} x\n", "Line 2 of the HDF text: something follows the brace"},
        {"a..b = 1\n", "Line 1 of the HDF text: it does not begin with a name"},
        {"a-b = 1\n", "Line 1 of the HDF text: nothing is said about the name"},
        {" = 1\n", "Line 1 of the HDF text: it does not begin with a name"},
        {"a [x=\"1] = 2\n", "Line 1 of the HDF text: its attributes cannot be read"},
        {"a << \nx\n", "Line 1 of the HDF text: the end mark of the value is not a word"},
        {"a << EOM\nx\nEOM", "Line 1 of the HDF text: the end mark of the value is missing"},
        // The reader takes lines in pieces: "EOM" would be at the beginning of the second one.
        {"a << EOM\n" + std::string(127, 'x') + "EOM \nb : a\nEOM\n",
         "Line 2 of the HDF text: the end mark stands inside a line of the value"},
        {"a << EOM\nEOM " + std::string(123, 'x') + "b : a\n",
         "Line 2 of the HDF text: something follows the end mark"},
        {std::string("a = 1\0b : a\n", 11), "The HDF text holds a NUL"},
        {std::string((1 << 20) + 1, '\n'), "An HDF text of 1048577 bytes is larger than 1048576"},
    };
    for (const auto& [text, message] : cases)
        EXPECT_EQ(MessageOf([&, &t = text] { CHdfTextGuard::CheckText(t); }), message);
}
