// Card-type table: data message 3, the one lookup through which every area
// reads card-type records, and the by-type and own-card queries.
#include "dm_card_table.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dm_diag.h"
#include "dm_table.h"

namespace {

// card_type -> dp_lib_card_type_info_t, a copy the host's insertion service owns.
dm_keyed_table<dp_lib_card_type_info_t> dm_card_cfg_root;

constexpr int kCardCfgLen = static_cast<int>(sizeof(dp_lib_card_type_info_t));
constexpr int kUnitMax = DP_LIB_CARD_UNIT_MAX;
constexpr int kLportMax = DP_LIB_CARD_LPORT_MAX;

// A 32-bit field of a payload that may be unaligned.
int32_t dm_payload_int(const void *data, size_t offset)
{
    int32_t v;
    std::memcpy(&v, static_cast<const char *>(data) + offset, sizeof v);
    return v;
}

}  // namespace

int dm_card_table_init(dm_site at) { return dm_card_cfg_root.init(at, "dm_card_cfg_root"); }

void dp_lib_card_cfg(void *data)
{
    if (DM_NO_DATA(data)) {
        return;
    }
    const int32_t card_type = dm_payload_int(data, offsetof(dp_lib_card_type_info_t, card_type));
    DM_VERBOSE("get card cfg type = %d!\n", card_type);
    const int32_t chip_num = dm_payload_int(data, offsetof(dp_lib_card_type_info_t, chip_num));
    if (chip_num > kUnitMax) {
        // The per-unit arrays describe 8 chips: such a record is not stored
        // (a record stored earlier for the type stays), so every query of a
        // stored record answers the same chip count.
        DM_WARN("card type %d has %d chips, more than %d: record refused!\n", card_type, chip_num,
                kUnitMax);
        return;
    }
    // The host's insertion service copies the record and takes the index's
    // write lock itself; no lock of ours is held around it.
    int ret =
        dp_lib_insert_data(data, kCardCfgLen, 0, dm_card_cfg_root.insertion_root(), card_type);
    DM_VERBOSE("ret = %d!\r\n", ret);
}

int dm_lib_get_card_cfg_by_type(int type, dp_lib_card_type_info_t *pinfo)
{
    if (DM_BAD_PARAM(pinfo == nullptr)) {
        return -1;
    }
    DM_VERBOSE("type = %d!\n", type);
    return DM_TABLE_COPY_OUT(dm_card_cfg_root, "can not find node!\n", type, pinfo) ? 0 : -1;
}

bool dm_card_cfg_at(dm_site at, int type, dp_lib_card_type_info_t *cfg, const char *miss_text)
{
    if (dm_lib_get_card_cfg_by_type(type, cfg) == 0) {
        return true;
    }
    DM_DIAG_AT(at, LIB_DBG_WARN, "%s", miss_text);
    return false;
}

int dm_lib_get_my_card_cfg(dp_lib_card_type_info_t *card_info)
{
    int card_type = 0;
    if (dm_get_my_card_type(&card_type) != 0) {
        DM_VERBOSE("dm_get_my_card_type fail!\n");
        return -1;
    }
    if (dm_lib_get_card_cfg_by_type(card_type, card_info) != 0) {
        DM_VERBOSE("can not find node!\n");
        return -1;
    }
    return 0;
}

int dm_get_card_port_num_by_type(int type)
{
    DM_VERBOSE("type = %d!\n", type);
    dp_lib_card_type_info_t cfg;
    if (!DM_CARD_CFG(type, &cfg)) {
        return -1;
    }
    return cfg.port_num;
}

int dm_get_switch_chip_num_by_card_type(int card_type)
{
    DM_VERBOSE("type = %d!\n", card_type);
    dp_lib_card_type_info_t cfg;
    if (!DM_CARD_CFG(card_type, &cfg)) {
        return -1;
    }
    DM_VERBOSE("chip num = %d!\n", cfg.chip_num);
    return cfg.chip_num;
}

int dm_get_poe_support_by_card_type(int card_type, bool *poe_support)
{
    if (DM_BAD_PARAM(poe_support == nullptr)) {
        return -1;
    }
    DM_VERBOSE("type = %d!\n", card_type);
    dp_lib_card_type_info_t cfg;
    if (!DM_CARD_CFG(card_type, &cfg)) {
        return -1;
    }
    *poe_support = cfg.poe_support != 0;
    DM_VERBOSE("poe support = %d!\n", *poe_support ? 1 : 0);
    return 0;
}

int dm_get_poe_support_port(int card_type, int *port, int *port_num)
{
    // The caller's array must hold one entry per possible lport, whatever
    // the card has.
    if (DM_BAD_PARAM(port == nullptr || port_num == nullptr || *port_num < kLportMax)) {
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (!DM_CARD_CFG(card_type, &cfg)) {
        return -1;
    }
    int n = 0;
    for (int l = 0; l < kLportMax; ++l) {
        if (cfg.lport_poe_support[l] != 0) {
            port[n++] = l;
        }
    }
    *port_num = n;
    return 0;
}

int dm_get_chip_type_by_card_type(int card_type, int **chip_type, int *chip_num)
{
    if (DM_BAD_PARAM(chip_type == nullptr || chip_num == nullptr)) {
        return -1;
    }
    DM_VERBOSE("type = %d!\n", card_type);
    *chip_type = static_cast<int *>(std::malloc(kUnitMax * sizeof(int)));
    if (*chip_type == nullptr) {
        DM_WARN("alloc memory fail!\n");
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (dm_lib_get_card_cfg_by_type(card_type, &cfg) != 0) {
        std::free(*chip_type);
        *chip_type = nullptr;
        DM_WARN("can not find node!\n");
        return -1;
    }
    std::memcpy(*chip_type, cfg.chip_types, sizeof cfg.chip_types);
    *chip_num = cfg.chip_num;
    return 0;
}

int dm_get_card_name_by_type(int card_type, char *name, int len)
{
    if (name == nullptr || len <= 0) {
        DM_ERROR("Param err.\n");
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    std::memset(&cfg, 0, sizeof cfg);
    if (dm_lib_get_card_cfg_by_type(card_type, &cfg) != 0) {
        DM_ERROR("fail to get card cfg");
        return -1;
    }
    const size_t room = std::min<size_t>(sizeof cfg.name, static_cast<size_t>(len));
    // strnlen keeps the copy inside the 32-byte field even without a NUL.
    const size_t n = strnlen(cfg.name, room - 1);
    std::memcpy(name, cfg.name, n);
    name[n] = '\0';
    return 0;
}

int dm_get_max_port_by_unit(int unit)
{
    if (unit < 0 || unit >= kUnitMax) {
        DM_WARN("param error\n");
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (dm_lib_get_my_card_cfg(&cfg) != 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    return cfg.chip_cport_max[unit];
}

int dm_get_my_lchips(int **units)
{
    if (DM_BAD_PARAM(units == nullptr)) {
        return -1;
    }
    DM_VERBOSE("dm_get_my_lchips\n");
    *units = static_cast<int *>(std::malloc(kUnitMax * sizeof(int)));
    if (*units == nullptr) {
        DM_WARN("alloc memory fail!\n");
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    bool ok = dm_lib_get_my_card_cfg(&cfg) == 0;
    if (!ok) {
        DM_WARN("dm_lib_get_my_card_cfg fail!\n");
    } else if (cfg.chip_num < 0) {
        DM_WARN("invalid chip_num!\n");
        ok = false;
    }
    if (!ok) {
        std::free(*units);
        *units = nullptr;
        return -1;
    }
    std::memcpy(*units, cfg.chip_types, sizeof cfg.chip_types);
    return cfg.chip_num;
}
