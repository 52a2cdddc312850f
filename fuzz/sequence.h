// The structured fuzz target's shared parts: how a port key names a port,
// the models of the tables whose contents follow from the messages sent, the
// keys an input touched, the table checks and the query step.
#pragma once

#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "fuzz_common.h"

namespace dmseq {

constexpr int kChipidNum = 2048;

// Port key k (one byte): device, slot, unit and chip port.
inline int port_dev(int k) { return 1 + ((k >> 7) & 1); }
inline int port_slot(int k) { return 1 + ((k >> 5) & 3); }
inline int port_unit(int k) { return (k >> 4) & 1; }
inline int port_cport(int k) { return k & 15; }
inline int port_dm_phyid(int k)
{
    return dm_phyid_make(port_dev(k), port_slot(k), port_unit(k), port_cport(k));
}
inline int port_unit_phyid(int k)
{
    return dm_unit_port_phyid(port_dev(k), port_slot(k), port_unit(k), port_cport(k));
}

// ---- models of the tables whose contents follow from the messages ----------
struct fc_model {
    std::vector<dm_convert_cfg_t> staging;
    std::vector<dm_convert_cfg_t> committed;
    bool over = false;
};

// What the current input sent, as the tables must hold it.
struct model {
    std::map<int, dp_lib_card_type_info_t> cards;  // by card type, the last record sent
    std::map<int, dp_lib_chip_info_t> chips;       // by chip type, the last record sent
    std::vector<dp_lib_lport_t> lports;            // this card's local port list
    std::array<fc_model, 2> fc;                    // the startup and the saved list
    int my_card_type = 0;                          // this card's type, as the host says
};

extern model m;

// Keys the current input touched, for the per-step and final checks.
struct touched {
    std::set<int> ports;   // port keys
    std::set<int> ss;      // slot_lport_phyids
    std::set<int> gslots;  // chip-ID slots
    std::set<int> nodes;   // nodes the host was told about
};
extern touched seen;

// Checks of one table each (the tables the last step touched), and of all.
void check_ports();
void check_cards();
void check_chips();
void check_lports();
void check_fc();
void check_chipids();
void check_all();

// A getter's array is the caller's: scribbled over and freed, the next copy
// is unchanged.
template <class T>
void scribble_and_free(T *arr, size_t n)
{
    if (arr != nullptr) {
        std::memset(static_cast<void *>(arr), 0xEE, n * sizeof(T));
    }
    std::free(arr);
}

// One query of any family, with arguments from the input.
void step_query(dmfuzz::Reader &in);

}  // namespace dmseq
