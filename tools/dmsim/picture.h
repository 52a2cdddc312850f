// The chassis picture: devices, slots, the card in each, and each card's
// front panel with every port's interface index and chip unit and port, as
// dmsim has described them to the library.
#pragma once

#include <string>

#include "model.h"

namespace dmsim {

struct PictureOptions {
    int dev = -1;     // only this device (-1: all)
    int slot = -1;    // only this slot (-1: all)
    int panels = -1;  // 1 draw front panels, 0 not, -1 when the chassis is small
};

std::string draw_chassis(const Model &m, const PictureOptions &opt);

}  // namespace dmsim
