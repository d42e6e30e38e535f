#include "platform/ipc/parcel.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace Vexo {
namespace {

using Bytes = std::vector<uint8_t>;

// Reads the next value of the parcel. Returns whether the read succeeded. A failed read must not change the variable
// for the value.
template <auto Read>
bool Reads(MessageParcel& parcel)
{
    const auto readInto = [&parcel]<typename T>(bool (Parcel::*read)(T&)) {
        T value{};
        const bool isRead = (parcel.*read)(value);
        EXPECT_TRUE(isRead || value == T{});
        return isRead;
    };
    return readInto(Read);
}

TEST(ParcelTest, DamagedBytesAreRefusedAndPositionStays)
{
    const struct {
        const char* fault;
        Bytes bytes;
        bool (*read)(MessageParcel&);
    } table[] = {
        {"nothing there", {}, Reads<&Parcel::ReadString>},
        {"length -1", {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, Reads<&Parcel::ReadString>},
        {"largest length", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0}, Reads<&Parcel::ReadString>},
        {"length beyond the end by the terminator", {4, 0, 0, 0, 'a', 'b', 'c', 'd'}, Reads<&Parcel::ReadString>},
        {"no terminator", {3, 0, 0, 0, 'a', 'b', 'c', 'd'}, Reads<&Parcel::ReadString>},
        {"padding cut off", {1, 0, 0, 0, 'a', 0}, Reads<&Parcel::ReadString>},
        {"UTF-16 length that doubles past 2^32", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0}, Reads<&Parcel::ReadString16>},
        {"UTF-16 terminator half missing", {1, 0, 0, 0, 'a', 0, 0, 1}, Reads<&Parcel::ReadString16>},
        {"count that nothing follows", {1, 0, 0, 0}, Reads<&Parcel::ReadStringVector>},
        {"huge count", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 0, 0, 0, 0}, Reads<&Parcel::ReadStringVector>},
        {"second string damaged",
         {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0},
         Reads<&Parcel::ReadStringVector>},
        {"uint16 of 65536", {0, 0, 1, 0}, Reads<&Parcel::ReadUint16>},
        {"bool of 2", {2, 0, 0, 0}, Reads<&Parcel::ReadBool>},
    };
    for (const auto& damage : table) {
        SCOPED_TRACE(damage.fault);
        MessageParcel parcel;
        ASSERT_TRUE(parcel.ParseFrom(damage.bytes.data(), damage.bytes.size()));
        EXPECT_FALSE(damage.read(parcel));
        EXPECT_EQ(parcel.GetReadableBytes(), damage.bytes.size());
    }
}

TEST(ParcelTest, WriteBeyondCapacityFailsAndChangesNothing)
{
    MessageParcel parcel;
    parcel.SetMaxCapacity(16);
    ASSERT_TRUE(parcel.WriteInt64(1));
    EXPECT_FALSE(parcel.WriteString("12345678") || parcel.WriteString16(u"1234") || parcel.WriteStringVector({"", ""}));
    EXPECT_EQ(parcel.GetDataSize(), 8U);
    EXPECT_TRUE(parcel.WriteInt64(2));
    EXPECT_FALSE(parcel.WriteBool(true));

    MessageParcel largest;
    largest.SetMaxCapacity(std::numeric_limits<size_t>::max());
    EXPECT_FALSE(largest.WriteString(std::string(MAX_PARCEL_SIZE - 4, 'a')));
    EXPECT_TRUE(largest.WriteString(std::string(MAX_PARCEL_SIZE - 8, 'a')));
    const Bytes tooLarge(MAX_PARCEL_SIZE + 1);
    EXPECT_FALSE(largest.ParseFrom(tooLarge.data(), tooLarge.size()));
}

}  // namespace
}  // namespace Vexo
