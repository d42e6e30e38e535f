// The entry points that libFuzzer calls. If the environment variable DISTNET_FUZZ_CORPUS names a folder, the samples of
// the target are first written to that folder.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "fuzz/fuzz_target.h"
#include "platform/dfx/sinks.h"

namespace {

struct NoLog : Vexo::QuviewDFX::LogSink {
    void Write(const Vexo::QuviewDFX::LogRecord& /*record*/) noexcept override {}
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    Vexo::QuviewDFX::SetLogSink(std::make_shared<NoLog>());
    if (const char* corpus = std::getenv("DISTNET_FUZZ_CORPUS"); corpus != nullptr) {
        int number = 0;
        for (const std::string& sample : Vexo::Fuzz::Targets().front().samples()) {
            std::ofstream(corpus + std::string("/sample-") + std::to_string(number++), std::ios::binary) << sample;
        }
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Vexo::Fuzz::Targets().front().run({reinterpret_cast<const char*>(data), size});
    return 0;
}
