#include "platform/config_policy/config_policy.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <string>

#include "tests/support/temp_folder.h"

namespace Vexo {
namespace {

class ConfigPolicyTest : public testing::Test {
protected:
    ConfigPolicyTest()
    {
        for (const char* file : {"low/etc/both.json", "low/etc/low.json", "high/etc/both.json", "secret"}) {
            std::filesystem::create_directories((folder_.Path() / file).parent_path());
            std::ofstream(folder_.Path() / file) << "{}";
        }
        // A folder is no configuration file.
        std::filesystem::create_directories(folder_.Path() / "high/etc/low.json");
        SetConfigPolicyRoots({folder_.Path() / "low", folder_.Path() / "high"});
    }
    ~ConfigPolicyTest() override { SetConfigPolicyRoots({}); }

    static std::string Find(const char* suffix, size_t size = MAX_POLICY_PATH_LENGTH)
    {
        std::array<char, MAX_POLICY_PATH_LENGTH> buffer{};
        return GetOneCfgFile(suffix, buffer.data(), size) == nullptr ? "" : buffer.data();
    }

    Tests::TempFolder folder_;
};

TEST_F(ConfigPolicyTest, FindsFileInHighestRootThatHasIt)
{
    const std::string high = folder_.Path() / "high/etc/both.json";
    EXPECT_EQ(Find("etc/both.json"), high);
    EXPECT_EQ(Find("etc/both.json", high.size() + 1), high);
    EXPECT_EQ(Find("etc/both.json", high.size()), "");  // The buffer has no room for the final '\0'.
    EXPECT_EQ(Find("etc/low.json"), folder_.Path() / "low/etc/low.json");
    EXPECT_EQ(Find("etc/none.json"), "");
}

TEST_F(ConfigPolicyTest, SuffixLeadingOutOfRootIsRefused)
{
    const std::string absolute = folder_.Path() / "secret";
    for (const char* suffix : {"", "../secret", "etc/../../secret", "etc/../etc/both.json", absolute.c_str(),
                               static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(Find(suffix), "") << (suffix == nullptr ? "null" : suffix);
    }
}

}  // namespace
}  // namespace Vexo
