// ServiceLibrary: opens the service's shared library on demand. The library registers its ability while it is opened,
// and stays mapped until the process ends. Called on the ability manager's loading thread, one call at a time.
#pragma once

#include <filesystem>

#include "platform/base/nocopyable.h"

namespace Vexo::Host {

// Returns the absolute path of the library. This is the configured path, if any. Otherwise it is libdistnet_service.so
// in the folder of this program if the file exists there, else in ../lib.
std::filesystem::path FindServiceLibrary(const std::filesystem::path& configured);

class ServiceLibrary : public NoCopyable {
public:
    explicit ServiceLibrary(std::filesystem::path path);

    // Opens the library if it is not open yet. Returns false if the library is missing, cannot be linked, or does not
    // register the service. A log line then names the file and the cause, and the next call tries again. Blocks on the
    // disk.
    bool Open();

private:
    const std::filesystem::path path_;
    bool opened_ = false;
};

}  // namespace Vexo::Host
