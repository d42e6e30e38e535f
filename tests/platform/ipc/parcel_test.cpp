#include "platform/ipc/parcel.h"

#include <gtest/gtest.h>

#include <limits>

namespace Vexo {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ParcelTest, ValuesComeBackInTheOrderTheyWereWritten)
{
    const std::vector<std::string> items{"bssid", "", std::string("a\0b", 3)};
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteInterfaceToken(u"Token") && parcel.WriteBool(true) && parcel.WriteInt32(-7) &&
                parcel.WriteUint32(0xFFFFFFFF) && parcel.WriteUint16(65535) && parcel.WriteInt64(-1) &&
                parcel.WriteUint64(1ULL << 63) && parcel.WriteDouble(0.5) && parcel.WriteString("net") &&
                parcel.WriteStringVector(items));
    EXPECT_EQ(parcel.GetDataSize() % 4, 0U);

    bool flag = false;
    int32_t number = 0;
    uint32_t wide = 0;
    uint16_t narrow = 0;
    int64_t huge = 0;
    uint64_t unsignedHuge = 0;
    double fraction = 0;
    std::string text;
    std::vector<std::string> read;
    EXPECT_EQ(parcel.ReadInterfaceToken(), u"Token");
    ASSERT_TRUE(parcel.ReadBool(flag) && parcel.ReadInt32(number) && parcel.ReadUint32(wide) &&
                parcel.ReadUint16(narrow) && parcel.ReadInt64(huge) && parcel.ReadUint64(unsignedHuge) &&
                parcel.ReadDouble(fraction) && parcel.ReadString(text) && parcel.ReadStringVector(read));
    EXPECT_TRUE(flag);
    EXPECT_EQ(number, -7);
    EXPECT_EQ(wide, 0xFFFFFFFF);
    EXPECT_EQ(narrow, 65535);
    EXPECT_EQ(huge, -1);
    EXPECT_EQ(unsignedHuge, 1ULL << 63);
    EXPECT_EQ(fraction, 0.5);
    EXPECT_EQ(text, "net");
    EXPECT_EQ(read, items);
    EXPECT_EQ(parcel.GetReadableBytes(), 0U);
    EXPECT_FALSE(parcel.ReadInt32(number));
    EXPECT_EQ(parcel.ReadInterfaceToken(), u"");
}

TEST(ParcelTest, TextsHaveLengthTerminatorAndPadding)
{
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteString("abcd") && parcel.WriteString16(u"z"));
    const Bytes expected{4, 0, 0, 0, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 0};
    EXPECT_EQ(Bytes(parcel.GetData(), parcel.GetData() + parcel.GetDataSize()), expected);
}

using Reader = bool (*)(MessageParcel&);

// Reads with the member function and expects the output unchanged when that fails.
template <auto Read, typename T>
bool Reads(MessageParcel& parcel)
{
    T value{};
    const bool read = (parcel.*Read)(value);
    EXPECT_TRUE(read || value == T{});
    return read;
}
constexpr Reader ReadsString = Reads<&Parcel::ReadString, std::string>;
constexpr Reader ReadsString16 = Reads<&Parcel::ReadString16, std::u16string>;
constexpr Reader ReadsVector = Reads<&Parcel::ReadStringVector, std::vector<std::string>>;
constexpr Reader ReadsUint16 = Reads<&Parcel::ReadUint16, uint16_t>;
constexpr Reader ReadsBool = Reads<&Parcel::ReadBool, bool>;

TEST(ParcelTest, DamagedBytesAreRefusedAndThePositionStays)
{
    const struct {
        const char* fault;
        Bytes bytes;
        Reader read;
    } table[] = {
        {"nothing there", {}, ReadsString},
        {"half an integer", {1, 0}, ReadsString},
        {"length -1", {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, ReadsString},
        {"smallest length", {0, 0, 0, 0x80, 0, 0, 0, 0}, ReadsString},
        {"largest length", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0}, ReadsString},
        {"length beyond the end by the terminator", {4, 0, 0, 0, 'a', 'b', 'c', 'd'}, ReadsString},
        {"no terminator", {3, 0, 0, 0, 'a', 'b', 'c', 'd'}, ReadsString},
        {"padding cut off", {1, 0, 0, 0, 'a', 0}, ReadsString},
        {"UTF-16 length -1", {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}, ReadsString16},
        {"UTF-16 length that doubles past 2^32", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0}, ReadsString16},
        {"UTF-16 terminator half missing", {1, 0, 0, 0, 'a', 0, 0, 1}, ReadsString16},
        {"count -1", {0xFF, 0xFF, 0xFF, 0xFF}, ReadsVector},
        {"count that nothing follows", {1, 0, 0, 0}, ReadsVector},
        {"huge count", {0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0, 0, 0, 0, 0}, ReadsVector},
        {"second string damaged", {2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0}, ReadsVector},
        {"uint16 of 65536", {0, 0, 1, 0}, ReadsUint16},
        {"bool of 2", {2, 0, 0, 0}, ReadsBool},
    };
    for (const auto& damage : table) {
        SCOPED_TRACE(damage.fault);
        MessageParcel parcel;
        ASSERT_TRUE(parcel.ParseFrom(damage.bytes.data(), damage.bytes.size()));
        EXPECT_FALSE(damage.read(parcel));
        EXPECT_EQ(parcel.GetReadableBytes(), damage.bytes.size());
    }
}

TEST(ParcelTest, WriteBeyondTheCapacityFailsAndChangesNothing)
{
    MessageParcel parcel;
    parcel.SetMaxCapacity(16);
    ASSERT_TRUE(parcel.WriteInt64(1));
    EXPECT_FALSE(parcel.WriteString("12345678"));
    EXPECT_FALSE(parcel.WriteString16(u"1234"));
    EXPECT_FALSE(parcel.WriteStringVector({"", ""}));
    EXPECT_EQ(parcel.GetDataSize(), 8U);
    EXPECT_TRUE(parcel.WriteInt64(2));
    EXPECT_FALSE(parcel.WriteBool(true));
    parcel.SetMaxCapacity(4);
    EXPECT_FALSE(parcel.WriteBool(true));

    MessageParcel largest;
    largest.SetMaxCapacity(std::numeric_limits<size_t>::max());
    EXPECT_FALSE(largest.WriteString(std::string(MAX_PARCEL_SIZE - 4, 'a')));
    EXPECT_TRUE(largest.WriteString(std::string(MAX_PARCEL_SIZE - 8, 'a')));
    const Bytes tooLarge(MAX_PARCEL_SIZE + 1);
    EXPECT_FALSE(largest.ParseFrom(tooLarge.data(), tooLarge.size()));
}

TEST(ParcelTest, AfterAMoveBothEndsAreUsable)
{
    MessageParcel source;
    int32_t value = 0;
    ASSERT_TRUE(source.WriteInt32(1) && source.WriteInt32(2) && source.ReadInt32(value));
    MessageParcel target(std::move(source));
    EXPECT_TRUE(target.ReadInt32(value));
    EXPECT_EQ(value, 2);
    source.Clear();
    ASSERT_TRUE(source.WriteInt32(3) && source.ReadInt32(value));
    EXPECT_EQ(value, 3);
}

}  // namespace
}  // namespace Vexo
