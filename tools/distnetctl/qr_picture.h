// QrPicture: a text as a QR code on a terminal, which a camera reads on a dark and on a light screen. Function without
// state; any thread. Why libqrencode: docs/decisions/0043-qr-pictures.md.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Vexo::Ctl {

struct QrStyle {
    bool utf8 = true;     // half blocks, two modules above each other in one character; else two characters a module
    bool colour = false;  // black on white whatever the terminal's colours; else the light modules are printed
};

// The lines of the picture, with the four light modules around it that a reader needs. Empty when a line would be wider
// than columns, or when memory is short.
std::vector<std::string> QrPicture(const std::string& text, QrStyle style, size_t columns);

}  // namespace Vexo::Ctl
