// The chassis generator: a whole consistent chassis from a few parameters.
//
//   gen [devs=1] [slots=1-4] [cards=100 | cards=100,30-31:200] [ports=48]
//       [chips=2] [chiptype=10] [ids_per_chip=1] [chipid=N] [speed=10g]
//       [medium=fiber] [node_type=lc] [me=DEV/SLOT | me=none] [ifx=0] [kdev=1]
//
// For every device and slot: the card present (host identity), its card
// type (generated with the given ports and chips unless that type is already
// described), the chip types, a chip-ID allocation per card (chips x
// ids_per_chip IDs, numbered on from the last ones given), and every port
// with its interface index (dev << 20 | slot << 12 | lport, or none with
// ifx=0), chip ID and keys (lsm_key = the port's slot_lport_phyid). This
// card (me=, by default the first card when none is set yet) gets its local
// port list. kdev=1 also teaches the kernel-device stand-in every port's
// interface index. A later gen adds to the chassis.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "args.h"
#include "model.h"

namespace dmsim {

// One step the generated chassis needs, in the order it must be done.
struct GenAction {
    enum class Kind { SetMe, SetCard, Data, Addr, KdevIfx, KdevKey };
    Kind kind;
    Card card;                   // SetCard
    Me me;                       // SetMe
    std::vector<uint8_t> bytes;  // Data: a whole data-plane message; Addr: sync data
    int a = 0, b = 0, c = 0;     // KdevIfx: lsm_key, llcb_type, ifx; KdevKey: ifx, lsm_key
};

struct GenSummary {
    int devices = 0;
    int cards = 0;
    int ports = 0;
    int card_types = 0;  // generated here
    int chip_ids = 0;    // allocated here
    bool me_set = false;
    int me_dev = 0;
    int me_slot = 0;
};

// Plans the chassis and records it in `model`; the caller carries out the
// actions. False with *err for bad parameters (nothing is planned then).
bool gen_chassis(const Args &a, Model &model, std::vector<GenAction> *actions, GenSummary *summary,
                 std::string *err);

}  // namespace dmsim
