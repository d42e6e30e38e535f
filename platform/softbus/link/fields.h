// Encodes and decodes the fields of a frame's payload: little-endian numbers, texts and bytes. A text is a uint8
// length, followed by that many bytes of UTF-8. No shared state; thread-safe. Used by frame.cpp and
// enrolment/join_frames.cpp.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/base/text.h"
#include "platform/base/utf8.h"

namespace Vexo::SoftBus {

inline constexpr size_t MAX_TEXT = 255;                       // the longest text in bytes
inline constexpr int64_t MAX_CLOCK_MS = 253'402'300'799'999;  // the end of the year 9999

template <typename Number>
void AppendNumber(std::string& out, Number value)
{
    for (size_t i = 0; i < sizeof(Number); ++i) {
        out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
}

inline void AppendText(std::string& out, std::string_view text, size_t limit = MAX_TEXT)
{
    text = CutToBytes(text, limit);
    out.push_back(static_cast<char>(static_cast<uint8_t>(text.size())));
    out.append(text);
}

// Reads the fields of a payload from front to back. After a field that does not fit into the payload, every read
// returns an empty value.
class FieldReader {
public:
    explicit FieldReader(std::string_view bytes) : rest_(bytes) {}

    template <typename Number>
    Number Take()
    {
        Number value = 0;
        if (!Need(sizeof(Number))) {
            return value;
        }
        for (size_t i = 0; i < sizeof(Number); ++i) {
            value = static_cast<Number>(value | (static_cast<Number>(static_cast<uint8_t>(rest_[i])) << (8 * i)));
        }
        rest_.remove_prefix(sizeof(Number));
        return value;
    }

    std::string TakeText() { return TakeBytes(Take<uint8_t>()); }

    std::string TakeRest() { return TakeBytes(rest_.size()); }

    std::string TakeBytes(size_t count)
    {
        if (!Need(count)) {
            return {};
        }
        std::string bytes(rest_.substr(0, count));
        rest_.remove_prefix(count);
        return bytes;
    }

    // Returns false if a field did not fit into the payload.
    bool Good() const { return good_; }
    bool AtEnd() const { return rest_.empty(); }

private:
    bool Need(size_t bytes)
    {
        good_ = good_ && rest_.size() >= bytes;
        return good_;
    }

    std::string_view rest_;
    bool good_ = true;
};

}  // namespace Vexo::SoftBus
