// Split ports: for a parent port and a split mode, the chip unit of its
// children and their chip ports. Three families answer from different data:
// the local family from this card's local port table and card type, the
// global family from the port table (or the local port table) and the node's
// card type, the _gms family from the port table alone.
#include "dm_split_port.h"

#include <cstring>

#include "dm_card_table.h"
#include "dm_diag.h"
#include "dm_local_port_table.h"
#include "dm_port_lookup.h"
#include "dm_port_table.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kLportMax = 255;
constexpr int kDefaultMode = -1;

// Result codes of the _gms family.
constexpr int kGmsBadParam = -1;
constexpr int kGmsSubcard = -2;
constexpr int kGmsNoParent = -3;
constexpr int kGmsNotParent = -4;
constexpr int kGmsChildErr = -5;

bool dm_split_lport_ok(int lport) { return lport >= 0 && lport <= kLportMax; }

// A split description that claims more modes or more children than its
// arrays hold is refused where it is read, so no query reads past them.
bool dm_split_take(const dp_lib_port_split_info_t &src, dp_lib_port_split_info_t *dst)
{
    int children = 0;
    for (int i = 0; i < src.split_mode_num && i < DP_LIB_SPLIT_MODE_MAX; ++i) {
        children += src.split_mode_port_num[i];
    }
    if (src.split_mode_num > DP_LIB_SPLIT_MODE_MAX || children > DP_LIB_SPLIT_CHILD_MAX) {
        DM_WARN("invalid split info: mode num %d, child port num %d.\n", src.split_mode_num,
                children);
        return false;
    }
    std::memcpy(dst, &src, sizeof *dst);
    return true;
}

int dm_split_effective_mode(int mode, const dp_lib_port_split_info_t &split)
{
    return mode == kDefaultMode ? split.def_split_mode : mode;
}

// Where the children of `mode` start in child_port_lport, and how many there
// are. The first mode with that id wins.
bool dm_split_find_mode(int mode, const dp_lib_port_split_info_t &split, int *base, int *count)
{
    int b = 0;
    for (int i = 0; i < split.split_mode_num; ++i) {
        if (split.split_mode_id[i] == mode) {
            *base = b;
            *count = split.split_mode_port_num[i];
            return true;
        }
        b += split.split_mode_port_num[i];
    }
    DM_WARN("not match plit mode:%d.\n", mode);
    return false;
}

// A child's key in the port table: the node's device and slot, the child's lport.
int dm_split_child_ss_phyid(int node, int child_lport)
{
    return dm_slot_lport_phyid_from_node(node, child_lport);
}

// A child's chip port from its own port record, or -1 when it has none.
bool dm_split_child_cport_gms(int node, int child_lport, int *cport)
{
    dp_lib_port_t child;
    if (dm_lib_get_pinfo_from_ssphyid_tree(dm_split_child_ss_phyid(node, child_lport), &child) !=
        0) {
        DM_WARN("can not find child port in dynamic tbl tree.\n");
        return false;
    }
    *cport = child.chip_portid;
    return true;
}

// Where a child's chip port comes from: its parent's card type, or (the _gms
// family) the child's own port record. Each is called as cport(child lport,
// &chip port) and answers false when it has none.
auto dm_cport_from_card(const dp_lib_card_type_info_t &static_info)
{
    return [&static_info](int child_lport, int *cport) {
        *cport = static_info.chip_port[child_lport];
        return true;
    };
}

auto dm_cport_from_record(int node)
{
    return [node](int child_lport, int *cport) {
        return dm_split_child_cport_gms(node, child_lport, cport);
    };
}

// The chip ports of one mode's children: their count, or -1 when the mode is
// unknown or a child has no chip port.
template <class ChipPort>
int dm_split_mode_children(int mode, const dp_lib_port_split_info_t &split, int *child_port,
                           ChipPort cport)
{
    int base = 0;
    int count = 0;
    if (!dm_split_find_mode(mode, split, &base, &count)) {
        return -1;
    }
    for (int j = 0; j < count; ++j) {
        if (!cport(split.child_port_lport[base + j], &child_port[j])) {
            return -1;
        }
    }
    return count;
}

// This card's local port key for `lport` of a card type.
int dm_split_local_key(const dp_lib_card_type_info_t &static_info, int lport)
{
    return dm_lport_phyid_make(static_info.lport_unit[lport], static_info.chip_port[lport]);
}

// The local port table's split description of this card's port at `key`.
int dm_split_from_local_table(int key, dp_lib_port_split_info_t *split_info)
{
    dp_lib_lport_t local;
    const int ret = dm_local_get_pinfo_by_lport_phyid(key, &local);
    if (ret != 0) {
        return ret;
    }
    if (!local.is_parent) {
        DM_WARN("can not find port in static tbl tree!\n");
        return -1;
    }
    return dm_split_take(local.split_info, split_info) ? 0 : -1;
}

int dm_local_get_child_unit_port_condition(int lport, dp_lib_card_type_info_t *static_info,
                                           dp_lib_port_split_info_t *split_info)
{
    int card_type = 0;
    if (dm_get_my_card_type(&card_type) != 0) {
        DM_WARN("dm_get_my_card_type fail!\n");
        return -1;
    }
    if (dm_lib_get_card_cfg_by_type(card_type, static_info) != 0) {
        DM_WARN("card type(%d) invalid\r\n", card_type);
        return -1;
    }
    dp_lib_lport_t local;
    if (dm_local_get_pinfo_by_lport_phyid(dm_split_local_key(*static_info, lport), &local) != 0) {
        DM_WARN("can not find port in static tbl tree!\n");
        return -1;
    }
    if (!local.is_parent) {
        DM_WARN("not parent port![data from static tbl]\n");
        return -1;
    }
    return dm_split_take(local.split_info, split_info) ? 0 : -1;
}

int dm_split_card_type_of(int node, int *card_type)
{
    if (node == dm_get_my_node()) {
        if (dm_get_my_card_type(card_type) != 0) {
            DM_WARN("dm_get_my_card_type fail!\n");
            return -1;
        }
        return 0;
    }
    *card_type = dm_get_dev_phy_type_by_node(node);
    if (*card_type < 0) {
        DM_WARN("dm_get_dev_phy_type_by_node %x fail!\n", node);
        return -1;
    }
    return 0;
}

int dm_get_child_unit_port_condition(int node, int lport, dp_lib_card_type_info_t *static_info,
                                     dp_lib_port_split_info_t *split_info)
{
    int card_type = 0;
    if (dm_split_card_type_of(node, &card_type) != 0) {
        return -1;
    }
    if (dm_get_node_type(node) == DM_TYPE_SUB_LC) {
        DM_ERROR("subcard cannot be supported in this func.\n");
        return -1;
    }
    if (dm_lib_get_card_cfg_by_type(card_type, static_info) != 0) {
        DM_WARN("node:%x card type(%d) invalid\r\n", node, card_type);
        return -1;
    }
    const int ss_phyid = dm_slot_lport_phyid_from_node(node, lport);
    DM_VERBOSE("phyid, %x.\r\n", ss_phyid);
    dp_lib_port_t port;
    if (dm_lib_get_pinfo_by_ssphyid(ss_phyid, &port) == 0) {
        if (port.is_parent) {
            return dm_split_take(port.split_info, split_info) ? 0 : -1;
        }
        DM_WARN("can not find port in dynamic tbl tree.\n");
    }
    // This card's local port at the same unit and chip port; for another
    // node that is this card's description, as the system defines it.
    return dm_split_from_local_table(dm_split_local_key(*static_info, lport), split_info);
}

// Children of every mode in one flat array, in mode order; `cport(child
// lport, &chip port)` answers each child's chip port, false to stop the walk.
// Returns the number of modes, or -1 when a child had no chip port.
template <class ChipPort>
int dm_split_all_modes(const dp_lib_port_split_info_t &split, int *mode_id, int *child_port,
                       int *port_num, ChipPort cport)
{
    int b = 0;
    for (int i = 0; i < split.split_mode_num; ++i) {
        mode_id[i] = split.split_mode_id[i];
        port_num[i] = split.split_mode_port_num[i];
        for (int j = 0; j < port_num[i]; ++j) {
            if (!cport(split.child_port_lport[b + j], &child_port[b + j])) {
                return -1;
            }
        }
        b += port_num[i];
    }
    return split.split_mode_num;
}

// Argument checks of the global and _gms families, warned under the caller's
// name: the by-mode queries, and the all-modes ones (which also trace).
bool dm_split_mode_args_bad(dm_site at, int node, int lport, int mode, bool outs_missing)
{
    if (!dm_split_lport_ok(lport) || outs_missing || mode < kDefaultMode) {
        DM_DIAG_AT(at, LIB_DBG_WARN, "Invalid node=%x, lport=%d, mode=%d\n", node, lport, mode);
        return true;
    }
    return false;
}

bool dm_split_all_args_bad(dm_site at, int node, int lport, bool outs_missing)
{
    if (!dm_split_lport_ok(lport) || outs_missing) {
        DM_DIAG_AT(at, LIB_DBG_WARN, "Invalid node = %x, lport = %d\n", node, lport);
        return true;
    }
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "node = %x, lport = %d!\n", node, lport);
    return false;
}

// The parent's record for the _gms family, with its checked description.
int dm_split_gms_parent(int node, int lport, bool by_resolver, dp_lib_port_t *parent,
                        dp_lib_port_split_info_t *split)
{
    if (dm_get_node_type(node) == DM_TYPE_SUB_LC) {
        DM_ERROR("subcard cannot be supported in this func.\n");
        return kGmsSubcard;
    }
    const int ss_phyid = dm_slot_lport_phyid_from_node(node, lport);
    DM_VERBOSE("phyid, %x.\r\n", ss_phyid);
    const int ret = by_resolver ? dm_lib_get_pinfo_by_ssphyid(ss_phyid, parent)
                                : dm_lib_get_pinfo_from_ssphyid_tree(ss_phyid, parent);
    if (ret != 0) {
        DM_WARN("can not find port in dynamic tbl tree.\n");
        return kGmsNoParent;
    }
    if (!parent->is_parent) {
        DM_WARN("Port is not parent.\n");
        return kGmsNotParent;
    }
    // A description too large for its arrays cannot name its children.
    return dm_split_take(parent->split_info, split) ? 0 : kGmsChildErr;
}

}  // namespace

int dm_local_get_child_unit_port_by_spe_mode(int lport, int mode, int *unit, int *child_port,
                                             int *child_port_num)
{
    if (!dm_split_lport_ok(lport) || unit == nullptr || child_port == nullptr ||
        child_port_num == nullptr || mode < kDefaultMode) {
        DM_WARN("Invalid param.lport=%d,unit=%p,child_port=%p,child_port_num=%p,mode=%d\n", lport,
                static_cast<void *>(unit), static_cast<void *>(child_port),
                static_cast<void *>(child_port_num), mode);
        return -1;
    }
    dp_lib_card_type_info_t static_info;
    dp_lib_port_split_info_t split;
    if (dm_local_get_child_unit_port_condition(lport, &static_info, &split) != 0) {
        return -1;
    }
    *unit = static_info.lport_unit[lport];
    const int n = dm_split_mode_children(dm_split_effective_mode(mode, split), split, child_port,
                                         dm_cport_from_card(static_info));
    // This family refuses a mode without children.
    if (n <= 0) {
        return -1;
    }
    *child_port_num = n;
    return 0;
}

int dm_local_get_child_unit_port_with_all_mode(int lport, int *unit, int *mode_id, int *child_port,
                                               int *port_num)
{
    if (!dm_split_lport_ok(lport) || unit == nullptr || mode_id == nullptr ||
        child_port == nullptr || port_num == nullptr) {
        DM_WARN("Invalid param.lport=%d,unit=%p,child_port=%p,child_port_num=%p\n", lport,
                static_cast<void *>(unit), static_cast<void *>(child_port),
                static_cast<void *>(port_num));
        return -1;
    }
    dp_lib_card_type_info_t static_info;
    dp_lib_port_split_info_t split;
    if (dm_local_get_child_unit_port_condition(lport, &static_info, &split) != 0) {
        return -1;
    }
    *unit = static_info.lport_unit[lport];
    return dm_split_all_modes(split, mode_id, child_port, port_num,
                              dm_cport_from_card(static_info));
}

int dm_get_child_unit_port_by_spe_mode(int node, int lport, int mode, int *unit, int *child_port,
                                       int *child_port_num)
{
    if (dm_split_mode_args_bad(DM_HERE, node, lport, mode,
                               dm_any_null(unit, child_port, child_port_num))) {
        return -1;
    }
    DM_VERBOSE("node = %x, lport = %d!\n", node, lport);
    dp_lib_card_type_info_t static_info;
    dp_lib_port_split_info_t split;
    if (dm_get_child_unit_port_condition(node, lport, &static_info, &split) != 0) {
        return -1;
    }
    *unit = static_info.lport_unit[lport];
    const int n = dm_split_mode_children(dm_split_effective_mode(mode, split), split, child_port,
                                         dm_cport_from_card(static_info));
    if (n < 0) {
        return -1;
    }
    *child_port_num = n;
    return 0;
}

int dm_get_child_unit_port_with_all_mode(int node, int lport, int *unit, int *mode_id,
                                         int *port_num, int *child_port)
{
    if (dm_split_all_args_bad(DM_HERE, node, lport,
                              dm_any_null(unit, mode_id, port_num, child_port))) {
        return -1;
    }
    dp_lib_card_type_info_t static_info;
    dp_lib_port_split_info_t split;
    if (dm_get_child_unit_port_condition(node, lport, &static_info, &split) != 0) {
        return -1;
    }
    *unit = static_info.lport_unit[lport];
    return dm_split_all_modes(split, mode_id, child_port, port_num,
                              dm_cport_from_card(static_info));
}

int dm_get_child_unit_port_by_spe_mode_gms(int node, int lport, int mode, int *unit,
                                           int *child_port, int *child_port_num)
{
    if (dm_split_mode_args_bad(DM_HERE, node, lport, mode,
                               dm_any_null(unit, child_port, child_port_num))) {
        return kGmsBadParam;
    }
    DM_VERBOSE("node = %x, lport = %d, mode = %d.\n", node, lport, mode);
    dp_lib_port_t parent;
    dp_lib_port_split_info_t split;
    const int ret = dm_split_gms_parent(node, lport, false, &parent, &split);
    if (ret != 0) {
        return ret;
    }
    *unit = parent.l_chipid;
    const int n = dm_split_mode_children(dm_split_effective_mode(mode, split), split, child_port,
                                         dm_cport_from_record(node));
    if (n < 0) {
        DM_WARN("child num err:%d.\n", n);
        return kGmsChildErr;
    }
    *child_port_num = n;
    return 0;
}

int dm_get_child_unit_port_with_all_mode_gms(int node, int lport, int *unit, int *mode_id,
                                             int *port_num, int *child_port)
{
    if (dm_split_all_args_bad(DM_HERE, node, lport,
                              dm_any_null(unit, mode_id, port_num, child_port))) {
        return kGmsBadParam;
    }
    dp_lib_port_t parent;
    dp_lib_port_split_info_t split;
    const int ret = dm_split_gms_parent(node, lport, true, &parent, &split);
    if (ret != 0) {
        return ret;
    }
    *unit = parent.l_chipid;
    const int n =
        dm_split_all_modes(split, mode_id, child_port, port_num, dm_cport_from_record(node));
    return n < 0 ? kGmsChildErr : n;
}

// The default-mode forms of the three families.
int dm_local_get_child_unit_port_from_lport(int lport, int *unit, int *child_port,
                                            int *child_port_num)
{
    return dm_local_get_child_unit_port_by_spe_mode(lport, kDefaultMode, unit, child_port,
                                                    child_port_num);
}

int dm_get_child_unit_port_from_node_lport(int node, int lport, int *unit, int *child_port,
                                           int *child_port_num)
{
    return dm_get_child_unit_port_by_spe_mode(node, lport, kDefaultMode, unit, child_port,
                                              child_port_num);
}

int dm_get_child_unit_port_from_node_lport_gms(int node, int lport, int *unit, int *child_port,
                                               int *child_port_num)
{
    return dm_get_child_unit_port_by_spe_mode_gms(node, lport, kDefaultMode, unit, child_port,
                                                  child_port_num);
}
