#include "platform/ipc/parcel.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>

namespace Vexo {
namespace {

static_assert(std::endian::native == std::endian::little, "a parcel is little-endian and copied as it lies in memory");

constexpr size_t ALIGNMENT = 4;
// The size in bytes of the shortest string, which consists of its length and a NUL with padding.
constexpr size_t MIN_STRING_SIZE = 8;

constexpr size_t Padded(size_t size)
{
    return (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

}  // namespace

template <typename T>
bool Parcel::WriteFixed(T value)
{
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) % ALIGNMENT == 0);
    const size_t end = bytes_.size();
    if (sizeof(T) > maxCapacity_ - std::min(end, maxCapacity_)) {
        return false;
    }
    bytes_.resize(end + sizeof(T));
    std::memcpy(bytes_.data() + end, &value, sizeof(T));
    return true;
}

template <typename T>
bool Parcel::ReadFixed(T& value)
{
    if (GetReadableBytes() < sizeof(T)) {
        return false;
    }
    std::memcpy(&value, bytes_.data() + readPosition_, sizeof(T));
    readPosition_ += sizeof(T);
    return true;
}

template <typename Char>
bool Parcel::WriteText(std::basic_string_view<Char> value)
{
    const size_t end = bytes_.size();
    if (value.size() > MAX_PARCEL_SIZE) {
        return false;
    }
    const size_t size = sizeof(int32_t) + Padded((value.size() + 1) * sizeof(Char));
    if (size > maxCapacity_ - std::min(end, maxCapacity_)) {
        return false;
    }
    bytes_.resize(end + size);  // sets the NUL and the padding to zero
    const auto length = static_cast<int32_t>(value.size());
    std::memcpy(bytes_.data() + end, &length, sizeof(length));
    if (!value.empty()) {
        std::memcpy(bytes_.data() + end + sizeof(length), value.data(), value.size() * sizeof(Char));
    }
    return true;
}

template <typename Char>
bool Parcel::ReadText(std::basic_string<Char>& value)
{
    const size_t start = readPosition_;
    int32_t length = 0;
    if (!ReadFixed(length)) {
        return false;
    }
    const size_t units = length < 0 ? std::numeric_limits<uint32_t>::max() : static_cast<size_t>(length);
    const size_t size = Padded((units + 1) * sizeof(Char));
    Char terminator{};
    if (size <= GetReadableBytes()) {
        std::memcpy(&terminator, bytes_.data() + readPosition_ + units * sizeof(Char), sizeof(Char));
    }
    if (size > GetReadableBytes() || terminator != Char{}) {
        readPosition_ = start;
        return false;
    }
    value.resize(units);
    if (units != 0) {
        std::memcpy(value.data(), bytes_.data() + readPosition_, units * sizeof(Char));
    }
    readPosition_ += size;
    return true;
}

bool Parcel::WriteBool(bool value)
{
    return WriteFixed<int32_t>(value ? 1 : 0);
}

bool Parcel::WriteInt32(int32_t value)
{
    return WriteFixed(value);
}

bool Parcel::WriteUint32(uint32_t value)
{
    return WriteFixed(value);
}

bool Parcel::WriteUint16(uint16_t value)
{
    return WriteFixed<uint32_t>(value);
}

bool Parcel::WriteInt64(int64_t value)
{
    return WriteFixed(value);
}

bool Parcel::WriteUint64(uint64_t value)
{
    return WriteFixed(value);
}

bool Parcel::WriteDouble(double value)
{
    return WriteFixed(value);
}

bool Parcel::WriteString(std::string_view value)
{
    return WriteText(value);
}

bool Parcel::WriteString16(std::u16string_view value)
{
    return WriteText(value);
}

bool Parcel::WriteStringVector(const std::vector<std::string>& values)
{
    const size_t start = bytes_.size();
    bool written = values.size() <= MAX_PARCEL_SIZE / MIN_STRING_SIZE;
    written = written && WriteInt32(static_cast<int32_t>(values.size()));
    for (size_t i = 0; written && i < values.size(); ++i) {
        written = WriteString(values[i]);
    }
    if (!written) {
        bytes_.resize(start);
    }
    return written;
}

bool Parcel::ReadBool(bool& value)
{
    int32_t wide = 0;
    if (!ReadFixed(wide)) {
        return false;
    }
    if (wide != 0 && wide != 1) {
        readPosition_ -= sizeof(wide);
        return false;
    }
    value = wide == 1;
    return true;
}

bool Parcel::ReadInt32(int32_t& value)
{
    return ReadFixed(value);
}

bool Parcel::ReadUint32(uint32_t& value)
{
    return ReadFixed(value);
}

bool Parcel::ReadUint16(uint16_t& value)
{
    uint32_t wide = 0;
    if (!ReadFixed(wide)) {
        return false;
    }
    if (wide > std::numeric_limits<uint16_t>::max()) {
        readPosition_ -= sizeof(wide);
        return false;
    }
    value = static_cast<uint16_t>(wide);
    return true;
}

bool Parcel::ReadInt64(int64_t& value)
{
    return ReadFixed(value);
}

bool Parcel::ReadUint64(uint64_t& value)
{
    return ReadFixed(value);
}

bool Parcel::ReadDouble(double& value)
{
    return ReadFixed(value);
}

bool Parcel::ReadString(std::string& value)
{
    return ReadText(value);
}

bool Parcel::ReadString16(std::u16string& value)
{
    return ReadText(value);
}

bool Parcel::ReadStringVector(std::vector<std::string>& values)
{
    const size_t start = readPosition_;
    int32_t count = 0;
    if (!ReadFixed(count)) {
        return false;
    }
    std::vector<std::string> read;
    bool good = count >= 0 && static_cast<size_t>(count) <= GetReadableBytes() / MIN_STRING_SIZE;
    if (good) {
        read.resize(static_cast<size_t>(count));
    }
    for (size_t i = 0; good && i < read.size(); ++i) {
        good = ReadString(read[i]);
    }
    if (!good) {
        readPosition_ = start;
        return false;
    }
    values = std::move(read);
    return true;
}

bool Parcel::ParseFrom(const void* data, size_t size)
{
    if (size > maxCapacity_) {
        return false;
    }
    bytes_.resize(size);
    if (size != 0) {
        std::memcpy(bytes_.data(), data, size);
    }
    readPosition_ = 0;
    return true;
}

void Parcel::Clear()
{
    bytes_.clear();
    readPosition_ = 0;
    maxCapacity_ = MAX_PARCEL_SIZE;
}

void Parcel::SetMaxCapacity(size_t bytes)
{
    maxCapacity_ = std::min(bytes, MAX_PARCEL_SIZE);
}

std::u16string MessageParcel::ReadInterfaceToken()
{
    std::u16string token;
    return ReadString16(token) ? token : std::u16string();
}

}  // namespace Vexo
