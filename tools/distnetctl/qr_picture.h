// QrPicture: draws a text as a QR code on a terminal. Cameras can read the code on a dark and on a light screen.
// Stateless; any thread. docs/decisions/0043-qr-pictures.md explains why this uses libqrencode.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Vexo::Ctl {

struct QrStyle {
    bool utf8 = true;     // true: one character shows two modules. false: two ASCII characters show one module
    bool colour = false;  // true: black on white. false: the light modules have the text colour of the terminal
};

// Returns the lines of the picture. Its border is four light modules wide, because QR readers need this. columns: the
// largest allowed width. Returns no lines if the picture would be wider, or if the text cannot be encoded.
std::vector<std::string> QrPicture(const std::string& text, QrStyle style, size_t columns);

}  // namespace Vexo::Ctl
