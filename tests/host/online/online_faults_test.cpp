// Each failure of getting online must have a row in docs/failures.md, and the texts of this failure must name the
// device.
#include "host/online/online_faults.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "interfaces/online_answers_json.h"

namespace Vexo::Host {
namespace {

// Returns the cells of each table row below the heading. Back quotes around a whole cell are removed.
std::vector<std::vector<std::string>> Rows(const std::string& heading)
{
    std::ifstream page(FAILURES_PAGE);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    while (std::getline(page, line) && line != heading) {
    }
    while (std::getline(page, line) && !line.starts_with("## ")) {
        if (!line.starts_with("| `")) {
            continue;
        }
        std::vector<std::string> cells;
        for (size_t at = 2; at < line.size();) {
            const size_t end = line.find(" |", at);
            cells.push_back(std::regex_replace(line.substr(at, end - at), std::regex("^`([^`]*)`$"), "$1"));
            at = end + 3;
        }
        rows.push_back(cells);
    }
    return rows;
}

TEST(OnlineFaultsTest, PageListsEachFailureWithItsTexts)
{
    const auto rows = Rows("## On the way online");
    ASSERT_EQ(rows.size(), ONLINE_FAULT_COUNT);
    for (size_t at = 0; at < rows.size(); ++at) {
        const auto code = static_cast<OnlineFaultCode>(at);
        const std::vector<std::string>& row = rows[at];
        SCOPED_TRACE(row[0]);
        ASSERT_EQ(row.size(), 6U);
        const OnlineFault fault = MakeFault(code, FaultDevice{std::string(64, '0'), "phone"}, "#");
        // The message may contain a detail of the failure, which is '#' here. In place of '#', docs/failures.md shows
        // an example of the detail.
        const size_t why = fault.message.find('#');
        EXPECT_TRUE(row[2].starts_with(fault.message.substr(0, why))) << row[2] << "\n" << fault.message;
        EXPECT_TRUE(why != std::string::npos || row[2] == fault.message) << row[2];
        EXPECT_EQ(ONLINE_FAULTS[at].code, code);
        EXPECT_EQ(row[0], NameOf(ONLINE_FAULT_CODE_NAMES, code));
        EXPECT_EQ(row[3], fault.advice);
        EXPECT_EQ(row[4], std::to_string(ONLINE_FAULTS[at].exitCode));
        const bool isEvent =
            code != OnlineFaultCode::CANCELLED && code != OnlineFaultCode::TIMED_OUT && code != OnlineFaultCode::BUSY;
        EXPECT_EQ(row[5], isEvent ? "NET_ONLINE_FAIL " + EventWord(code) : "none");
    }
}

TEST(OnlineFaultsTest, DeviceFailureNamesDeviceAndNeverSaysPeer)
{
    const FaultDevice nameless{"3f91c" + std::string(54, '0') + "d6384", ""};
    for (const OnlineFaultRow& row : ONLINE_FAULTS) {
        const OnlineFault fault = MakeFault(row.code, nameless, ": because");
        EXPECT_EQ(fault.message.find("peer") + fault.advice.find("peer"), 2 * std::string::npos) << fault.message;
        EXPECT_EQ(fault.message.find('{'), std::string::npos) << fault.message;
        EXPECT_FALSE(fault.advice.empty() || fault.advice.find('{') != std::string::npos) << fault.advice;
        const bool isOfDevice = row.code >= OnlineFaultCode::AWAY && row.code <= OnlineFaultCode::NO_INTERNET;
        EXPECT_TRUE(!isOfDevice || fault.message.find("3f91c…d6384") != std::string::npos) << fault.message;
    }
}

}  // namespace
}  // namespace Vexo::Host
