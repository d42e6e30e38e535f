// InputFile: passes an input to a decoder that reads a file. The file has its own folder, which the destructor removes.
// One thread.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/base/nocopyable.h"
#include "tests/support/temp_folder.h"

namespace Vexo::Fuzz {

class InputFile : public NoCopyable {
public:
    explicit InputFile(const std::string& name) : path_(folder_.Path() / name) {}

    const std::filesystem::path& Path() const { return path_; }
    const std::filesystem::path& Folder() const { return folder_.Path(); }
    // Removes all files of the folder, and then writes the input to the file.
    void Write(std::string_view input) const
    {
        Clear();
        std::ofstream(path_, std::ios::binary) << input;
    }
    void Clear() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            std::filesystem::remove(entry.path());
        }
    }
    // Returns the file's content, or an empty string if there is no file.
    std::string Text() const
    {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

private:
    const Tests::TempFolder folder_;
    const std::filesystem::path path_;
};

}  // namespace Vexo::Fuzz
