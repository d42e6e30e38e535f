// Devices for the tests of trust: folders in a temporary one, enrolled as the product does it. Keys are made anew for
// each test.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/base/files.h"
#include "platform/trust/account.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/openssl_util.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust::Tests {

class Devices {
public:
    std::filesystem::path Folder(const std::string& device) const { return folder_.Path() / device; }

    void Create(const std::string& device, const std::string& account = "home") const
    {
        const auto created = CreateAccount(Folder(device), account, device);
        ASSERT_TRUE(created) << created.Message();
    }
    std::string Request(const std::string& device) const
    {
        auto request = MakeRequest(Folder(device), device);
        EXPECT_TRUE(request) << request.Message();
        return request ? request.Value() : "";
    }
    // The chain that holder issues to device.
    std::string Chain(const std::string& device, const std::string& holder,
                      std::chrono::hours validity = DEVICE_VALIDITY) const
    {
        auto chain = Admit(Folder(holder), Request(device), validity);
        EXPECT_TRUE(chain) << chain.Message();
        return chain ? chain.Value() : "";
    }
    void Join(const std::string& device, const std::string& holder) const
    {
        const auto installed = Install(Folder(device), Chain(device, holder));
        ASSERT_TRUE(installed) << installed.Message();
    }
    Identity Load(const std::string& device) const
    {
        auto identity = LoadIdentity(Folder(device));
        EXPECT_TRUE(identity) << identity.Message();
        return identity ? std::move(identity.Value()) : Identity{};
    }

private:
    Vexo::Tests::TempFolder folder_;
};

inline std::string Read(const std::filesystem::path& file)
{
    const auto text = ReadWholeFile(file, 1 << 20);
    return text ? text.Value() : "";
}

inline void Write(const std::filesystem::path& file, const std::string& text)
{
    const auto written = WriteFileAtomically(file, text, 0600);
    ASSERT_TRUE(written) << written.Message();
}

}  // namespace Vexo::Trust::Tests
