// Card and slot port-number queries: the lowest and highest local port of a
// card, whether a slot's card has a local port, a port's card type and PoE
// flag, and the CPU port of a chip. A local port exists on a card type when
// its lport_unit entry is not negative.
#include "dm_port_num.h"

#include <algorithm>
#include <cstdlib>

#include "dm_card_table.h"
#include "dm_chip_query.h"
#include "dm_chipid_query.h"
#include "dm_diag.h"
#include "dm_port_lookup.h"

namespace {

constexpr int kSlotMax = 31;
constexpr int kLportMax = DP_LIB_CARD_LPORT_MAX - 1;

bool dm_lport_exists(const dp_lib_card_type_info_t &cfg, int lport)
{
    return cfg.lport_unit[lport] >= 0;
}

int dm_lowest_lport(const dp_lib_card_type_info_t &cfg)
{
    for (int lport = 0; lport <= kLportMax; ++lport) {
        if (dm_lport_exists(cfg, lport)) {
            return lport;
        }
    }
    return -1;
}

int dm_highest_lport(const dp_lib_card_type_info_t &cfg)
{
    for (int lport = kLportMax; lport >= 0; --lport) {
        if (dm_lport_exists(cfg, lport)) {
            return lport;
        }
    }
    return -1;
}

// Card type of the card in a slot of this device; the type is written even
// when it is refused (0 or less means no card). sub_slot is not used.
int dm_get_local_card_type_by_any_slot(int slot, int sub_slot, int *type)
{
    (void)sub_slot;
    if (slot == dm_get_my_lslotid()) {
        int mine = 0;
        const int rv = dm_get_my_card_type(&mine);
        if (rv < 0) {
            DM_ERROR("rv = %d!\n", rv);
            return -1;
        }
        *type = mine;
    } else {
        *type = dm_get_local_card_type_by_lslotid(slot);
    }
    DM_VERBOSE("type: %d\n", *type);
    return *type > 0 ? 0 : -1;
}

// The lowest or highest local port of a card type into *answer, traced under
// the caller's name as "<label> port=%d!": 0, or -1 when the type is unknown
// or has no local port.
int dm_lport_end_at(dm_site at, int card_type, bool highest, const char *label, int *answer)
{
    dp_lib_card_type_info_t cfg;
    if (!dm_card_cfg_at(at, card_type, &cfg)) {
        return -1;
    }
    const int end = highest ? dm_highest_lport(cfg) : dm_lowest_lport(cfg);
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "%s port=%d!\n", label, end);
    *answer = end;
    return end >= 0 ? 0 : -1;
}

int dm_get_max_lport_by_card_type(int card_type, int *max_port)
{
    DM_VERBOSE("card_type=%d!\n", card_type);
    return dm_lport_end_at(DM_HERE, card_type, true, "max", max_port);
}

// The card types of a card's chips, one per unit, in a list this object
// owns and frees.
class dm_chip_type_list {
public:
    ~dm_chip_type_list() { std::free(types_); }
    int fetch(int card_type) { return dm_get_chip_type_by_card_type(card_type, &types_, &num_); }
    int num() const { return num_; }
    // The list holds one entry per unit of a card record, 8 entries; stored
    // records claim at most 8 chips, and a unit beyond the list is refused
    // like a unit beyond the chip count.
    int usable() const { return std::min(num_, DP_LIB_CARD_UNIT_MAX); }
    int at(int unit) const { return types_[unit]; }

private:
    int *types_ = nullptr;
    int num_ = 0;
};

// The lowest (or, when `highest`, the highest) local port of the card in
// slot `slotid` of device `devno`, traced under the query's name. The highest
// is found as dm_get_max_lport_by_card_type finds it, with its trace.
int dm_slot_lport_end_at(dm_site at, int devno, int slotid, bool highest, int *answer)
{
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "dev=%d, slot=%d!\n", devno, slotid);
    if (answer == nullptr) {
        DM_DIAG_AT(at, LIB_DBG_ERROR, "invalid parameter\n");
        return -1;
    }
    const int card_type = dm_get_dev_phy_type(devno, slotid, 0);
    if (card_type < 0) {
        if (highest) {
            DM_DIAG_AT(at, LIB_DBG_WARN, "dm_get_dev_phy_type fail\n");
        }
        return -1;
    }
    if (highest) {
        return dm_get_max_lport_by_card_type(card_type, answer);
    }
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "cardtype=%d!\n", card_type);
    return dm_lport_end_at(at, card_type, false, "min", answer);
}

}  // namespace

int dm_get_min_port_num(int devno, int slotid, int *min_port)
{
    return dm_slot_lport_end_at(DM_HERE, devno, slotid, false, min_port);
}

int dm_get_max_port_num(int devno, int slotid, int *max_port)
{
    return dm_slot_lport_end_at(DM_HERE, devno, slotid, true, max_port);
}

int dm_get_local_card_max_port(int slot, int sub_slot, int *max_port)
{
    if (slot < 0 || slot > kSlotMax || max_port == nullptr) {
        DM_WARN("param error slot = %d!\n", slot);
        return -1;
    }
    int card_type = 0;
    if (dm_get_local_card_type_by_any_slot(slot, sub_slot, &card_type) != 0) {
        DM_WARN("dm_get_local_card_type_by_any_slot fail\n");
        return -1;
    }
    return dm_get_max_lport_by_card_type(card_type, max_port);
}

int dm_local_check_slot_lport(int slot, int lport)
{
    if (slot < 0 || slot > kSlotMax || lport < 0 || lport > kLportMax) {
        DM_WARN("Invalid parameter\n");
        return -1;
    }
    DM_VERBOSE("slot: %d, lport: %d\n", slot, lport);
    int card_type = 0;
    if (dm_get_local_card_type_by_any_slot(slot, 0, &card_type) != 0) {
        DM_WARN("dm_get_local_card_type_by_any_slot fail\n");
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (!dm_card_cfg_at(DM_HERE, card_type, &cfg, "dm_lib_get_card_cfg_by_type fail\n")) {
        return -1;
    }
    if (!dm_lport_exists(cfg, lport)) {
        DM_WARN("invalid lport\n");
        return -1;
    }
    DM_VERBOSE("lport ok\n");
    return 0;
}

int dm_get_dev_type_from_port_phyid(int port_phyid, int *lc_type)
{
    if (lc_type == nullptr) {
        DM_ERROR("invalid parameter\n");
        return -1;
    }
    int node = 0;
    int lport = 0;
    if (dm_get_node_lport_from_phyid(port_phyid, &node, &lport) != 0) {
        DM_ERROR("fail to get node lport\n");
        return -1;
    }
    *lc_type = dm_get_dev_phy_type_by_node(node);
    if (*lc_type < 0) {
        DM_ERROR("fail to get card type\n");
        return -1;
    }
    return 0;
}

int dm_get_poe_support_by_phyid(int phyid, bool *poe_support)
{
    dp_lib_port_t pinfo;
    // dm_port_open refuses a null poe_support; the second test only says so
    // to the static analyser, which does not see into it.
    if (dm_port_open(DM_HERE, poe_support == nullptr, __func__, phyid, &pinfo, -1,
                     "get pinfo fail!\n") != 0 ||
        poe_support == nullptr) {
        return -1;
    }
    *poe_support = pinfo.poe_support != 0;
    DM_VERBOSE("poe support = %d!\n", *poe_support ? 1 : 0);
    return 0;
}

int dm_get_chip_cmic_port(int chipid)
{
    DM_VERBOSE("chipid:%d\r\n", chipid);
    int node = 0;
    int unit = 0;
    int rv = dm_get_node_unit_from_chipid(chipid, &node, &unit);
    if (rv != 0) {
        DM_WARN("get node unit from chipid[%d] fail, rv=%d\n", chipid, rv);
        return -1;
    }
    const int card_type = dm_get_dev_cfg_type_by_node(node);
    if (card_type < 0) {
        DM_WARN("get card type from node[%#10x] fail, rv=%d\n", node, card_type);
        return -1;
    }
    dm_chip_type_list chips;
    rv = chips.fetch(card_type);
    if (rv < 0) {
        DM_WARN("get card chip type from card_type[%d] fail, rv=%d\n", card_type, rv);
        return -1;
    }
    if (unit < 0 || unit >= chips.usable()) {
        DM_WARN("unit[%d] is beyond card's chipnum[%d]\n", unit, chips.usable());
        return -1;
    }
    const int chip_type = chips.at(unit);
    const int port = dm_get_chip_cmic_port_by_type(chip_type);
    if (port < 0) {
        DM_WARN("get cmic_port from chip_type[%d] fail, rv=%d\n", chip_type, port);
        return -1;
    }
    DM_VERBOSE(">>>>get chip cmicport[%d] from chipip[%d]\n", port, chipid);
    return port;
}
