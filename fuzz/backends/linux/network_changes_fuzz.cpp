// Fuzzes the reader of network-changes.json, the file with the changes that must be undone in NetworkManager.
#include "backends/linux/network_change_file.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/input_file.h"

namespace Vexo::Linux {
namespace {

const Fuzz::InputFile& TheFile()
{
    static const Fuzz::InputFile file(NETWORK_CHANGES_FILE);
    return file;
}

const NetworkChange HOTSPOT{"5f1c6f0a-0000-4000-8000-000000000001", "/active/1", "", true, true};

std::vector<std::string> Samples()
{
    TheFile().Clear();
    NetworkChangeFile changes(TheFile().Folder());
    changes.Record(HOTSPOT);
    changes.Record({"5f1c6f0a-0000-4000-8000-000000000002", "/active/2", HOTSPOT.profile, false, false});
    return {TheFile().Text()};
}

bool Run(std::string_view input)
{
    TheFile().Write(input);
    NetworkChangeFile changes(TheFile().Folder());
    if (changes.Pending().empty()) {
        return false;
    }
    changes.Record(HOTSPOT);
    const std::string text = TheFile().Text();
    NetworkChangeFile again(TheFile().Folder());
    Fuzz::Require(again.Pending().size() == changes.Pending().size(), "no change is lost");
    again.Record(HOTSPOT);
    Fuzz::Require(TheFile().Text() == text, "what was read is written as the same");
    return true;
}

const Fuzz::Registration REGISTRATION({"network_changes", Samples, Run});

}  // namespace
}  // namespace Vexo::Linux
