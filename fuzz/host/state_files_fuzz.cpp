// Fuzzes the readers of the files in which the daemon keeps its decisions: online.json and sharing.json. Each input is
// read as both files.
#include "fuzz/fuzz_target.h"
#include "fuzz/input_file.h"
#include "host/online/online_file.h"
#include "host/sharing/sharing_file.h"
#include "platform/softbus/discovery/known_devices.h"

namespace Vexo::Host {
namespace {

const Fuzz::InputFile& TheFile()
{
    static const Fuzz::InputFile file("state.json");
    return file;
}

template <typename File, typename Record>
std::string Written(const Record& record)
{
    File file(TheFile().Path());
    Fuzz::Require(file.Save(record).has_value(), "a record can be written");
    return TheFile().Text();
}

std::vector<std::string> Samples()
{
    const std::string phone(64, 'a');
    const std::string tablet(64, 'b');
    TheFile().Clear();
    const OnlineRecord online{true, {phone, tablet}, {{phone, std::chrono::sys_seconds(std::chrono::hours(490'000))}}};
    const SharingRecord sharing{
        .rules = {{phone, ShareDecision::TODAY, std::chrono::seconds(1'800'000'000)}, {tablet, ShareDecision::NEVER}},
        .asked = {{tablet, std::chrono::days(20'000), 3}},
        .monthDay = std::chrono::days(20'001),
        .monthBytes = 212'000'000};
    return {Written<OnlineFile>(online), Written<SharingFile>(sharing)};
}

// Returns whether the class File can read a file with this input.
template <typename File>
bool Reads(std::string_view input)
{
    TheFile().Write(input);
    const auto record = File(TheFile().Path()).Load();
    if (std::filesystem::exists(TheFile().Path().string() + SoftBus::UNUSABLE_SUFFIX)) {
        Fuzz::Require(Written<File>(record) == Written<File>(std::remove_const_t<decltype(record)>()),
                      "a damaged file counts as empty");
        return false;
    }
    const std::string text = Written<File>(record);
    Fuzz::Require(Written<File>(File(TheFile().Path()).Load()) == text, "what was read is written as the same");
    return true;
}

bool Run(std::string_view input)
{
    const bool isOnline = Reads<OnlineFile>(input);
    return Reads<SharingFile>(input) || isOnline;
}

const Fuzz::Registration REGISTRATION({"host_state_files", Samples, Run});

}  // namespace
}  // namespace Vexo::Host
