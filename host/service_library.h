// ServiceLibrary: opens the service's shared library on demand. The library registers its ability while it is being
// opened, and stays mapped to the end of the process. Called on the ability manager's loading thread, one call at a
// time.
#pragma once

#include <filesystem>

#include "platform/base/nocopyable.h"

namespace Vexo::Host {

// The configured path; else libdistnet_service.so beside this program, else in ../lib. Absolute.
std::filesystem::path FindServiceLibrary(const std::filesystem::path& configured);

class ServiceLibrary : public NoCopyable {
public:
    explicit ServiceLibrary(std::filesystem::path path);

    // Opens the library unless that succeeded before. False, with a log line that names file and cause, when it is
    // missing, cannot be linked, or does not register the service. A later call tries a file again that could not be
    // opened. Blocks on the disk.
    bool Open();

private:
    const std::filesystem::path path_;
    bool opened_ = false;
};

}  // namespace Vexo::Host
