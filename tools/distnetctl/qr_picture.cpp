#include "tools/distnetctl/qr_picture.h"

#include <qrencode.h>

#include <memory>

namespace Vexo::Ctl {

namespace {

constexpr int QUIET_ZONE = 4;  // how many light modules surround the code on each side
constexpr const char* BLACK_ON_WHITE = "\033[38;5;16;48;5;231m";
constexpr const char* PLAIN = "\033[0m";

struct CodeDeleter {
    void operator()(QRcode* code) const noexcept { QRcode_free(code); }
};

class Modules {
public:
    explicit Modules(const QRcode& code) : code_(code) {}
    int Size() const { return code_.width + 2 * QUIET_ZONE; }
    // Returns whether the module is dark. Modules in the border (quiet zone) and below the code are not dark.
    bool IsDark(int row, int column) const
    {
        const int y = row - QUIET_ZONE;
        const int x = column - QUIET_ZONE;
        return y >= 0 && x >= 0 && y < code_.width && x < code_.width && (code_.data[y * code_.width + x] & 1) != 0;
    }

private:
    const QRcode& code_;
};

// Returns one character that shows two modules, one above the other. isUpperPrinted, isLowerPrinted: true if the module
// has the text colour, false if it has the background colour.
const char* HalfBlock(bool isUpperPrinted, bool isLowerPrinted)
{
    return isUpperPrinted ? (isLowerPrinted ? "█" : "▀") : (isLowerPrinted ? "▄" : " ");
}

std::string HalfBlockLine(const Modules& modules, int row, bool colour)
{
    std::string line = colour ? BLACK_ON_WHITE : "";
    for (int column = 0; column < modules.Size(); ++column) {
        line += HalfBlock(modules.IsDark(row, column) == colour, modules.IsDark(row + 1, column) == colour);
    }
    return line + (colour ? PLAIN : "");
}

std::string AsciiLine(const Modules& modules, int row, bool colour)
{
    std::string line = colour ? BLACK_ON_WHITE : "";
    for (int column = 0; column < modules.Size(); ++column) {
        line += modules.IsDark(row, column) == colour ? "##" : "  ";
    }
    return line + (colour ? PLAIN : "");
}

}  // namespace

std::vector<std::string> QrPicture(const std::string& text, QrStyle style, size_t columns)
{
    const std::unique_ptr<QRcode, CodeDeleter> code(QRcode_encodeString(text.c_str(), 0, QR_ECLEVEL_M, QR_MODE_8, 1));
    if (!code) {
        return {};
    }
    const Modules modules(*code);
    const size_t width = static_cast<size_t>(modules.Size()) * (style.utf8 ? 1 : 2);
    if (width > columns) {
        return {};
    }
    std::vector<std::string> lines;
    for (int row = 0; row < modules.Size(); row += style.utf8 ? 2 : 1) {
        lines.push_back(style.utf8 ? HalfBlockLine(modules, row, style.colour) : AsciiLine(modules, row, style.colour));
    }
    return lines;
}

}  // namespace Vexo::Ctl
