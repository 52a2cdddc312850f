// The chassis as dmsim has described it to the library and the host: the
// cards present, this card, the card and chip types, chip-ID allocations,
// ports, this card's local ports and the management ports. It remembers what
// was sent, not what the library made of it; the chassis picture and the
// generator read it.
#pragma once

#include <map>
#include <vector>

#include <addr_common.h>
#include <dp_pd_common.h>

namespace dmsim {

struct Card {
    int node = 0;
    int phy_type = -1;  // card type present
    int cfg_type = -1;  // card type configured
    int node_type = 0;  // dm_node_type_e
};

struct Me {
    bool known = false;
    int node = 0;
    int lslotid = 0;  // gslot form
    int card_type = -1;
    int node_type = 0;
};

struct Model {
    Me me;
    std::map<int, Card> cards;                          // by node
    std::map<int, dp_lib_card_type_info_t> card_types;  // by card type
    std::map<int, dp_lib_chip_info_t> chip_types;       // by chip type
    std::map<int, chipid_slot_t> chipids;               // by gslot, valid records only
    std::map<int, dp_lib_port_t> ports;                 // by dm_phyid
    std::vector<dp_lib_lport_t> my_lports;              // the last list sent
    unsigned mgmt_ifx[3][2] = {};                       // [dev][lport]

    // Lists being put together before they are sent as one message.
    std::vector<dp_lib_lport_t> pending_lports;
    std::vector<chipid_slot_t> pending_chipids;

    // Where the generator goes on numbering chip IDs.
    int next_chipid = 32;

    // Applies what a message or host call changes in the description.
    void apply_card(const Card &c);
    void apply_port(const dp_lib_port_t &p);
    void apply_ifx(int dm_phyid, int ifx);
    void apply_rmv(int dm_phyid);
    void apply_chipid(const chipid_slot_t &rec);

    // The ports of a card (devid, slot) in lport order.
    std::vector<const dp_lib_port_t *> ports_of(int devid, int slot) const;
    // The first chip ID of a card's unit, or -1.
    int first_chipid(int gslot, int unit) const;
};

}  // namespace dmsim
