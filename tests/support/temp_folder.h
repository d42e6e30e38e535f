// TempFolder: creates an empty folder (mode 0700). The destructor removes the folder and its content.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace Vexo::Tests {

class TempFolder {
public:
    TempFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "distnet-test.XXXXXX").string();
        path_ = mkdtemp(name.data()) != nullptr ? std::filesystem::path(name) : std::filesystem::path();
    }
    ~TempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace Vexo::Tests
