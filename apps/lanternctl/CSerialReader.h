// The bytes of a serial line, taken apart.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

/// Finds the messages in parentheses, and the characters that acknowledge one. What is neither is dropped,
/// and so is a message that breaks off, or outgrows every real one: the next "(" starts afresh.
class CSerialReader
{
public:
    static constexpr char kAck = '$'; ///< the message before was handled
    static constexpr char kNak = '^'; ///< it was not

    void Take(std::string_view bytes);
    /// The oldest that was not taken yet: a message with its parentheses, or "$" or "^" alone.
    std::optional<std::string> Next();
    /// Whether the bytes so far end within a message.
    bool IsInside() const noexcept { return mState != EState::Outside; }

private:
    static constexpr std::size_t kMaxMessage = 16'384; // bytes; the longest real one has 9 KiB

    enum class EState
    {
        Outside,
        Message,
        Text,    // in double quotes
        Escape,  // behind a backslash
        HexHigh, // the two behind "\h", whatever they are
        HexLow,
    };

    void TakeByte(char byte);
    void OnOutside(char byte);
    void OnMessage(char byte);
    void OnText(char byte);

    EState mState = EState::Outside;
    std::string mMessage;
    std::deque<std::string> mItems;
};
