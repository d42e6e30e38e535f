// Parcel and MessageParcel: the values of one request or reply, in order, as little-endian bytes aligned to four.
//   bool, int32, uint32, uint16   4 bytes (bool and uint16 are widened)
//   int64, uint64, double         8 bytes
//   string                        int32 length n, n bytes, a NUL, padding to 4
//   u16string                     int32 length n, n 16-bit units, a NUL unit, padding to 4
//   vector<string>                int32 count, then the strings
// Reading fails for a bool other than 0 and 1 and for a uint16 above 65535. A failed read returns false and leaves the
// position and the output unchanged. A write that would exceed the capacity returns false and leaves the parcel
// unchanged. Not thread-safe: one owner at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Vexo {

// The largest content of a datagram: 160 KiB less the header (platform/ipc/wire.h).
inline constexpr size_t MAX_PARCEL_SIZE = 160 * 1024 - 16;

class Parcel {
public:
    Parcel() = default;
    virtual ~Parcel() = default;
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;
    // Leaves the other parcel empty and usable.
    Parcel(Parcel&& other) noexcept
        : bytes_(std::exchange(other.bytes_, {})),
          readPosition_(std::exchange(other.readPosition_, 0)),
          maxCapacity_(other.maxCapacity_)
    {
    }
    Parcel& operator=(Parcel&& other) noexcept
    {
        bytes_ = std::exchange(other.bytes_, {});
        readPosition_ = std::exchange(other.readPosition_, 0);
        maxCapacity_ = other.maxCapacity_;
        return *this;
    }

    bool WriteBool(bool value);
    bool WriteInt32(int32_t value);
    bool WriteUint32(uint32_t value);
    bool WriteUint16(uint16_t value);
    bool WriteInt64(int64_t value);
    bool WriteUint64(uint64_t value);
    bool WriteDouble(double value);
    bool WriteString(std::string_view value);
    bool WriteString16(std::u16string_view value);
    bool WriteStringVector(const std::vector<std::string>& values);

    bool ReadBool(bool& value);
    bool ReadInt32(int32_t& value);
    bool ReadUint32(uint32_t& value);
    bool ReadUint16(uint16_t& value);
    bool ReadInt64(int64_t& value);
    bool ReadUint64(uint64_t& value);
    bool ReadDouble(double& value);
    bool ReadString(std::string& value);
    bool ReadString16(std::u16string& value);
    // Compares the count of strings with the remaining bytes before allocating memory.
    bool ReadStringVector(std::vector<std::string>& values);

    const uint8_t* GetData() const { return bytes_.data(); }
    size_t GetDataSize() const { return bytes_.size(); }
    size_t GetReadableBytes() const { return bytes_.size() - readPosition_; }

    // Replaces the content by a copy of the given bytes and rewinds. Returns false if size exceeds the capacity.
    bool ParseFrom(const void* data, size_t size);
    // Makes the next read start at the first value again.
    void Rewind() { readPosition_ = 0; }
    // Removes the content and resets the capacity. Keeps the memory.
    void Clear();
    // Limits the size of the content, so that writes fail earlier. Values above MAX_PARCEL_SIZE count as
    // MAX_PARCEL_SIZE.
    void SetMaxCapacity(size_t bytes);

private:
    template <typename T>
    bool WriteFixed(T value);
    template <typename T>
    bool ReadFixed(T& value);
    // Write or read a string of char or char16_t: an int32 length, the characters, a NUL character, padding.
    template <typename Char>
    bool WriteText(std::basic_string_view<Char> value);
    template <typename Char>
    bool ReadText(std::basic_string<Char>& value);

    std::vector<uint8_t> bytes_;
    size_t readPosition_ = 0;
    size_t maxCapacity_ = MAX_PARCEL_SIZE;
};

class MessageParcel : public Parcel {
public:
    // Writes the interface token, which is the descriptor of the interface that a request is for, as UTF-16.
    bool WriteInterfaceToken(std::u16string_view descriptor) { return WriteString16(descriptor); }
    // Returns an empty string if the parcel has no interface token or the token is damaged.
    std::u16string ReadInterfaceToken();
};

// How a request is sent. Only synchronous requests exist, so every request has a reply.
class MessageOption {
public:
    enum Flags : int32_t { TF_SYNC = 0 };
    explicit MessageOption(int32_t flags = TF_SYNC) : flags_(flags) {}
    int32_t GetFlags() const { return flags_; }

private:
    int32_t flags_;
};

}  // namespace Vexo
