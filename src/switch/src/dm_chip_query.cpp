// Chip questions by chip type and by unit of this card, and the list of a
// global chip's ports, on the card, chip, chip-ID and port tables.
#include "dm_chip_query.h"

#include <cstdlib>

#include "dm_card_table.h"
#include "dm_chip_table.h"
#include "dm_chipid_query.h"
#include "dm_diag.h"
#include "dm_port_lookup.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kLportMax = DP_LIB_CARD_LPORT_MAX;
// A chip's port list is of mod_port_phyids, whose chip-ID field is 16 bits
// wide; chip IDs are below 2048 (the chip-ID queries refuse any other), so
// every ID that resolves to a chip fits it.
static_assert(2048 <= 0xFFFF + 1, "chip IDs fit the chip-ID field of a mod_port_phyid");

// This card's chip type at `unit`, through its own chip list; 0 or -1 with
// the error already printed.
int dm_my_unit_chip_type(int unit, int *chip_type)
{
    int *types = nullptr;
    const int chip_num = dm_get_my_lchips(&types);
    if (chip_num < 0) {
        DM_ERROR("Dm_get_my_lchips error(%d)!\n", chip_num);
        return -1;
    }
    // Stored records claim at most 8 units, the size of the array.
    if (unit < 0 || unit >= chip_num) {
        std::free(types);
        DM_ERROR("input arguments error, unit(%d) chip_num(%d).\n", unit, chip_num);
        return -1;
    }
    *chip_type = types[unit];
    std::free(types);
    return 0;
}

// The record of the type of the card at `node`, traced under the caller's
// name; false when the node has no card type or the type is unknown.
bool dm_node_card_cfg_at(dm_site at, int node, dp_lib_card_type_info_t *cfg)
{
    const int card_type = dm_get_dev_phy_type_by_node(node);
    if (card_type < 0) {
        DM_DIAG_AT(at, LIB_DBG_WARN, "dm_get_dev_phy_type_by_node ret = %d!\n", card_type);
        return false;
    }
    return dm_card_cfg_at(at, card_type, cfg);
}

// Appends to `list` the mod_port_phyid of every port of `unit` on the card at
// `node` that the port table knows, in local-port order; returns the count.
int dm_collect_chip_ports(const dp_lib_card_type_info_t &cfg, int node, int unit, int chipid,
                          int *list)
{
    const int devid = dm_node_devid(node);
    const int slot = dm_node_lslot(node);
    int n = 0;
    for (int l = 0; l < kLportMax; ++l) {
        if (cfg.lport_unit[l] != unit) {
            continue;
        }
        int chip_unit = 0;
        int chip_port = 0;
        if (dm_get_unit_port_from_phyid(dm_slot_lport_phyid(devid, slot, l), &chip_unit,
                                        &chip_port) != 0) {
            DM_WARN("can not find node!\n");
            continue;
        }
        list[n++] = dm_mod_port_phyid(chipid, chip_port);
    }
    return n;
}

// One field of a chip type's record, traced under the caller's name: the
// value, or -1 when the type is unknown.
int dm_chip_field_at(dm_site at, int type, int dp_lib_chip_info_t::*field, const char *name)
{
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "type: %d\n", type);
    dp_lib_chip_info_t info;
    if (dm_lib_get_chip_info_by_type(type, &info) != 0) {
        return -1;
    }
    DM_DIAG_AT(at, LIB_DBG_VERBOSE, "type: %d, %s: %d\n", type, name, info.*field);
    return info.*field;
}

}  // namespace

int dm_get_chip_family(int type)
{
    return dm_chip_field_at(DM_HERE, type, &dp_lib_chip_info_t::chip_family, "chip_family");
}

int dm_get_chip_cmic_port_by_type(int type)
{
    return dm_chip_field_at(DM_HERE, type, &dp_lib_chip_info_t::cmic_port, "cmic_port");
}

int dm_get_lchip_family_by_unit(int unit)
{
    int chip_type = 0;
    if (dm_my_unit_chip_type(unit, &chip_type) != 0) {
        return -1;
    }
    const int family = dm_get_chip_family(chip_type);
    if (family < 0) {
        DM_ERROR("dm_get_chip_family error, chip_family(%d).\n", family);
        return -1;
    }
    return family;
}

int dm_get_invalid_port(int unit)
{
    const int node_type = dm_get_my_node_type();
    DM_VERBOSE("my node type = %d!\n", node_type);
    if (node_type != DM_TYPE_LC && node_type != DM_TYPE_MSC) {
        DM_WARN("not lc or msc!\n");
        return 0;
    }
    int card_type = 0;
    if (dm_get_my_card_type(&card_type) != 0) {
        DM_WARN("invalid !\n");
        return 0;
    }
    dp_lib_card_type_info_t cfg;
    if (!DM_CARD_CFG(card_type, &cfg)) {
        return 0;
    }
    // Stored records claim at most 8 chips, so chip_num bounds chip_types too.
    if (unit < 0 || unit >= cfg.chip_num) {
        DM_WARN("can not find unit(%d)!\n", unit);
        return 0;
    }
    const int chip_type = cfg.chip_types[unit];
    dp_lib_chip_info_t info;
    if (dm_lib_get_chip_info_by_type(chip_type, &info) != 0) {
        DM_WARN("can not find chip cfg (%d).\n", chip_type);
        return 0;
    }
    DM_VERBOSE("invalid_port = %d\n", info.invalid_port);
    return info.invalid_port;
}

int dm_get_port_bmp_from_chipid(int chipid, int **port_phyids, int *port_num)
{
    if (DM_BAD_PARAM(port_phyids == nullptr || port_num == nullptr)) {
        return -1;
    }
    *port_num = 0;
    int node = 0;
    int unit = 0;
    int ret = dm_get_node_unit_from_chipid(chipid, &node, &unit);
    if (ret != 0) {
        DM_WARN("dm_get_node_unit_from_chipid ret=%d!\n", ret);
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (!dm_node_card_cfg_at(DM_HERE, node, &cfg)) {
        return -1;
    }
    if (unit < 0 || unit >= cfg.chip_num) {
        DM_WARN("unit number %d!\n", unit);
        return -1;
    }
    int *list = static_cast<int *>(std::malloc(kLportMax * sizeof(int)));
    if (list == nullptr) {
        *port_phyids = nullptr;
        DM_WARN("alloc memory fail!\n");
        return -1;
    }
    const int n = dm_collect_chip_ports(cfg, node, unit, chipid, list);
    // An empty chip is a success with no array to free.
    if (n == 0) {
        std::free(list);
        list = nullptr;
    }
    *port_phyids = list;
    *port_num = n;
    return 0;
}
