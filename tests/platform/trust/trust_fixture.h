// Devices for the tests of trust. A device is a folder inside a temporary folder. The product's own functions enrol the
// device, so each test has new keys.
#pragma once

#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <numeric>
#include <string>

#include "platform/base/clock.h"
#include "platform/base/files.h"
#include "platform/trust/account.h"
#include "platform/trust/identity_files.h"
#include "platform/trust/link_key.h"
#include "platform/trust/openssl_util.h"
#include "platform/trust/state_files.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Trust::Tests {

// Returns a link key whose bytes count up, such as 1, 2, 3. first: the value of the first byte.
inline LinkKey CountingKey(uint32_t number, uint8_t first)
{
    LinkKey key{number};
    std::iota(key.bytes.begin(), key.bytes.end(), first);
    return key;
}

// A clock that always returns the date that the test has set.
struct Calendar : Clock {
    SteadyTime Now() const override { return {}; }
    WallTime WallNow() const override { return date; }
    WallTime date;
};

// Returns a copy of the certificate with another end of its validity, signed with accountKey. notAfter: the new end.
inline Certificate EndingAt(X509* certificate, EVP_PKEY* accountKey, std::time_t notAfter)
{
    Certificate changed(X509_dup(certificate));
    ASN1_TIME_set(X509_getm_notAfter(changed.get()), notAfter);
    EXPECT_GT(X509_sign(changed.get(), accountKey, EVP_sha256()), 0);
    return changed;
}

class Devices {
public:
    std::filesystem::path Folder(const std::string& device) const { return folder_.Path() / device; }
    void Create(const std::string& device, const std::string& account = "home") const
    {
        const auto created = CreateAccount(Folder(device), account, device);
        ASSERT_TRUE(created) << created.error().message;
    }
    // Makes a join request on one device and admits it on another. Returns the enrolment answer. device: the device
    // that joins. holder: the device with the account's key.
    std::string Answer(const std::string& device, const std::string& holder,
                       std::chrono::hours validity = DEVICE_VALIDITY) const
    {
        return Admit(Folder(holder), MakeRequest(Folder(device), device).value(), {.validity = validity}).value();
    }
    // Removes the files of the account's state from the device. An old version, which had no account state, would have
    // left the device like this.
    void ForgetState(const std::string& device) const
    {
        std::filesystem::remove(Folder(device) / STATE_FILE);
        std::filesystem::remove(Folder(device) / STATE_NUMBER_FILE);
    }
    Identity Load(const std::string& device) const { return std::move(LoadIdentity(Folder(device)).value()); }
    // Enrols a new device and returns its identity. The first device creates the account and admits the others.
    Identity Enrol(const std::string& device)
    {
        if (first_.empty()) {
            Create(first_ = device);
        } else {
            EXPECT_TRUE(Install(Folder(device), Answer(device, first_)));
        }
        return Load(device);
    }

private:
    Vexo::Tests::TempFolder folder_;
    std::string first_;
};

template <typename Value>
void ExpectRefused(const Result<Value>& result, const std::string& why)
{
    ASSERT_FALSE(result) << why;
    EXPECT_NE(result.error().message.find(why), std::string::npos) << result.error().message;
}

inline std::string Read(const std::filesystem::path& file)
{
    return ReadWholeFile(file, 1 << 20).value();
}

}  // namespace Vexo::Trust::Tests
