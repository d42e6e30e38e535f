// QrPicture: draws a text as a QR code for a terminal. A camera can read it on a dark and on a light screen. Stateless;
// any thread. Reason for libqrencode: docs/decisions/0043-qr-pictures.md.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Vexo::Ctl {

struct QrStyle {
    bool utf8 = true;     // one character for two modules, one above the other; else two ASCII characters per module
    bool colour = false;  // black on white; else the light modules are drawn in the terminal's text colour
};

// Returns the lines of the picture, with a border of four light modules, which QR readers need. Returns no lines if a
// line would be wider than columns or memory is short.
std::vector<std::string> QrPicture(const std::string& text, QrStyle style, size_t columns);

}  // namespace Vexo::Ctl
