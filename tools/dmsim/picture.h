// The chassis picture: devices, slots, the card in each, and each card's
// front panel with every port's interface index and chip unit and port, as
// dmsim has described them to the library.
#pragma once

#include <string>
#include <vector>
#include <set>
#include <tuple>

#include "model.h"

namespace dmsim {

struct PictureOptions {
    int dev = -1;     // only this device (-1: all)
    int slot = -1;    // only this slot (-1: all)
    int panels = -1;  // 1 draw front panels, 0 not, -1 when the chassis is small
};

std::string draw_chassis(const Model &m, const PictureOptions &opt);

// What the picture is drawn from (the JSON form of the chassis uses it too).
struct ChassisSlot {
    int dev;
    int slot;
    int sslot;
    bool operator<(const ChassisSlot &o) const
    {
        return std::tie(dev, slot, sslot) < std::tie(o.dev, o.slot, o.sslot);
    }
};
// Every slot that something was described for: a card, a port or chip IDs.
std::set<ChassisSlot> described_slots(const Model &m);
// The card present in a slot, or null.
const Card *card_at(const Model &m, const ChassisSlot &s);
bool is_me(const Model &m, const ChassisSlot &s);
// The name in a card type's record, "?" for a type not described.
std::string card_name(const Model &m, int type);
// The chip IDs allocated to a slot, in order.
std::vector<int> chip_ids(const Model &m, const ChassisSlot &s);

}  // namespace dmsim
