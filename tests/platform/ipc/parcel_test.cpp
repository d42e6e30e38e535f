#include "platform/ipc/parcel.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace Vexo {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ParcelTest, TextsHaveLengthTerminatorAndPadding)
{
    MessageParcel parcel;
    ASSERT_TRUE(parcel.WriteString("abcd") && parcel.WriteString16(u"z"));
    const Bytes expected{4, 0, 0, 0, 'a', 'b', 'c', 'd', 0, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 0};
    EXPECT_EQ(Bytes(parcel.GetData(), parcel.GetData() + parcel.GetDataSize()), expected);
}

TEST(ParcelTest, WriteBeyondTheCapacityFailsAndChangesNothing)
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
