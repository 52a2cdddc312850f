// This card's local port table: data message 5 replaces it whole; queries
// convert between slot and local port and chip unit and chip port, and a
// management board answers for the other slots from their card types.
#include "dm_local_port_table.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dm_card_table.h"
#include "dm_diag.h"
#include "dm_table.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr size_t kLportRecLen = sizeof(dp_lib_lport_t);
constexpr int kLportMax = DP_LIB_CARD_LPORT_MAX;

// lport_phyid -> record inside the local port array.
dm_keyed_table<dp_lib_lport_t> dm_my_lport_phyid_root;

// The table: the message's records in message order, and their count. The
// index lock guards both together with the index, so a reader sees one
// message's table whole.
dp_lib_lport_t *dm_lport_infos DM_GUARDED_BY(dm_my_lport_phyid_root.index) = nullptr;
int dm_my_lport_num DM_GUARDED_BY(dm_my_lport_phyid_root.index) = 0;

// Empties the table; the index nodes go first, they point into the array.
void dm_lport_table_clear() DM_REQUIRES(dm_my_lport_phyid_root.index)
{
    if (dm_lport_infos == nullptr) {
        return;
    }
    dm_my_lport_phyid_root.index.clear();
    dm_my_lport_num = 0;
    std::free(dm_lport_infos);
    dm_lport_infos = nullptr;
}

// Indexes the records of the array by their lport_phyid; the first record of
// a key keeps it.
void dm_lport_table_index(int n) DM_REQUIRES(dm_my_lport_phyid_root.index)
{
    for (int i = 0; i < n; ++i) {
        dp_lib_lport_t *rec = &dm_lport_infos[i];
        DM_VERBOSE("lport%d unit%d port%d!\n", rec->lport, dm_lport_phyid_unit(rec->lport_phyid),
                   dm_lport_phyid_port(rec->lport_phyid));
        if (rec->lport_phyid == 0) {
            continue;  // no chip port: reachable only by the array scans
        }
        if (dm_my_lport_phyid_root.index.insert(rec->lport_phyid, rec) != 0) {
            DM_ERROR("Insert dm_my_lport_phyid_root fail!\n");
        }
    }
}

// True when this card is a management board: sub-slot 0 and slot 30, 31 or 0.
bool dm_is_manage_board(int gslot)
{
    const int lslot = dm_get_lslot_from_gslot(gslot);
    return dm_get_sslot_from_gslot(gslot) == 0 && dm_lslot_is_mgmt_board(lslot);
}

}  // namespace

int dm_local_port_table_init(dm_site at)
{
    return dm_my_lport_phyid_root.init(at, "dm_my_lport_phyid_root");
}

long long dp_lib_my_lport_msg_len(const void *data, int len)
{
    if (len < DP_LIB_MY_LPORT_HEAD_LEN) {
        return DP_LIB_MY_LPORT_HEAD_LEN;
    }
    int32_t n;
    std::memcpy(&n, data, sizeof n);
    // A negative count reads nothing beyond the head: the handler refuses it.
    if (n < 0) {
        return DP_LIB_MY_LPORT_HEAD_LEN;
    }
    return DP_LIB_MY_LPORT_HEAD_LEN + static_cast<long long>(kLportRecLen) * n;
}

static void dm_lib_save_my_port_to_file(void)
{
    int n;
    {
        dm_read_guard guard(dm_my_lport_phyid_root.index);
        n = dm_my_lport_num;
    }
    // Written after the lock is released: the log file is the host's, and
    // the host is never called with a table lock held.
    DM_LOGFILE("my port num: %d\n", n);
}

void dp_lib_set_my_lport(void *data)
{
    if (DM_NO_DATA(data)) {
        return;
    }
    const char *payload = static_cast<const char *>(data);
    int32_t n;
    std::memcpy(&n, payload, sizeof n);
    {
        dm_write_guard guard(dm_my_lport_phyid_root.index);
        dm_lport_table_clear();
        // An empty list still leaves an array, so queries then report a
        // missing port rather than a missing table; hence room for one record
        // at least (malloc(0) may answer null).
        dp_lib_lport_t *infos = nullptr;
        if (n >= 0) {
            const size_t count = n > 0 ? static_cast<size_t>(n) : 1;
            infos = static_cast<dp_lib_lport_t *>(std::malloc(count * kLportRecLen));
        }
        if (infos == nullptr) {
            DM_ERROR("Malloc fail!\n");
            return;
        }
        if (n > 0) {
            std::memcpy(infos, payload + DP_LIB_MY_LPORT_HEAD_LEN,
                        static_cast<size_t>(n) * kLportRecLen);
        }
        dm_lport_infos = infos;
        dm_lport_table_index(n);
        dm_my_lport_num = n;
    }
    dm_lib_save_my_port_to_file();
    DM_VERBOSE("Dm set my lport success!\n");
}

int dm_get_my_lport_num(void)
{
    dm_read_guard guard(dm_my_lport_phyid_root.index);
    return dm_my_lport_num;
}

int dm_get_my_lport_num_by_sub_slot(int sub_slot, int *port_num)
{
    if (DM_BAD_PARAM(port_num == nullptr)) {
        return -1;
    }
    // Sub-slot 0 is the card itself; this card answers for nothing else.
    if (sub_slot != 0) {
        DM_WARN("\n");
        return -1;
    }
    *port_num = dm_get_my_lport_num();
    return 0;
}

int dm_get_my_card_multi_lport(int *lport, int *num)
{
    if (DM_BAD_PARAM(lport == nullptr || num == nullptr || *num < 1)) {
        return -1;
    }
    DM_VERBOSE("num = %d!\n", *num);
    const int room = *num;
    int found = 0;
    {
        dm_read_guard guard(dm_my_lport_phyid_root.index);
        if (dm_lport_infos == nullptr) {
            DM_WARN("no info!\n");
            return -1;
        }
        for (int i = 0; i < dm_my_lport_num && found < room; ++i) {
            const dp_lib_lport_t &rec = dm_lport_infos[i];
            if (rec.lport_phyid != 0 && rec.medium_type == PORT_MEDIUM_FIBER_COPPER) {
                lport[found++] = rec.lport;
            }
        }
    }
    *num = found;
    return 0;
}

int dm_local_get_slot_lport_from_unit_port(int unit, int port, int *slot, int *lport)
{
    if (DM_BAD_PARAM(slot == nullptr || lport == nullptr)) {
        return -1;
    }
    const int key = dm_lport_phyid_make(unit, port);
    int found_lport = -1;
    {
        dm_read_guard guard(dm_my_lport_phyid_root.index);
        const auto *rec =
            static_cast<const dp_lib_lport_t *>(dm_my_lport_phyid_root.index.find(key));
        if (rec != nullptr) {
            found_lport = rec->lport;
        }
    }
    if (found_lport < 0) {
        DM_WARN("can not find node!\n");
        return -1;
    }
    *lport = found_lport;
    *slot = dm_get_my_lslotid();
    return 0;
}

static int dm_mb_get_unit_port_from_slot_lport(int slot, int lport, int *unit, int *port)
{
    const int gslot = dm_get_my_lslotid();
    if (!dm_is_manage_board(gslot)) {
        DM_WARN("slot %d is not manage board\r\n", gslot);
        return -1;
    }
    const int card_type = dm_get_local_card_type_by_lslotid(slot);
    if (card_type < 0) {
        DM_WARN("card %d offline\r\n", slot);
        return -1;
    }
    dp_lib_card_type_info_t cfg;
    if (dm_lib_get_card_cfg_by_type(card_type, &cfg) != 0) {
        DM_WARN("slot:%d card type(%d) invalid\r\n", slot, card_type);
        return -1;
    }
    // The card type's arrays have one entry per lport 0..255; any other lport
    // is a port the card cannot have, answered like a missing one (-1, -1)
    // instead of being read from outside the record.
    const bool in_range = lport >= 0 && lport < kLportMax;
    *unit = in_range ? cfg.lport_unit[lport] : -1;
    *port = in_range ? cfg.chip_port[lport] : -1;
    if (*unit < 0 || *port < 0) {
        DM_WARN("invalid lport. unit:%d, port:%d\r\n", *unit, *port);
        return -1;
    }
    DM_VERBOSE("unit:%d, port:%d\r\n", *unit, *port);
    return 0;
}

int dm_local_get_unit_port_from_slot_lport(int slot, int lport, int *unit, int *port)
{
    if (DM_BAD_PARAM(unit == nullptr || port == nullptr)) {
        return -1;
    }
    DM_VERBOSE("slot:%d, lport:%d\r\n", slot, lport);
    if (slot != dm_get_my_lslotid()) {
        return dm_mb_get_unit_port_from_slot_lport(slot, lport, unit, port);
    }
    int key = 0;
    {
        dm_read_guard guard(dm_my_lport_phyid_root.index);
        if (dm_lport_infos == nullptr) {
            DM_WARN("no info!\n");
            return -1;
        }
        const dp_lib_lport_t *rec = nullptr;
        for (int i = 0; i < dm_my_lport_num && rec == nullptr; ++i) {
            if (dm_lport_infos[i].lport == lport) {
                rec = &dm_lport_infos[i];
            }
        }
        if (rec == nullptr) {
            DM_WARN("param error lport = %d!\n", lport);
            return -1;
        }
        key = rec->lport_phyid;
    }
    if (key == 0) {
        DM_WARN("port invalid lport = %d!\n", lport);
        return -1;
    }
    *unit = dm_lport_phyid_unit(key);
    *port = dm_lport_phyid_port(key);
    return 0;
}

int dm_local_get_pinfo_by_lport_phyid(int lport_phyid, dp_lib_lport_t *info)
{
    if (DM_BAD_PARAM(info == nullptr)) {
        return -1;
    }
    if (!DM_TABLE_COPY_OUT(dm_my_lport_phyid_root, "fail to get pinfo!\n", lport_phyid, info)) {
        return -1;
    }
    DM_VERBOSE("success!\n");
    return 0;
}

void dm_show_all_local_port(void)
{
    std::printf("all local port: \r\n");
    dm_read_guard guard(dm_my_lport_phyid_root.index);
    std::printf("dm_my_lport_num:%d\r\n", dm_my_lport_num);
    if (dm_lport_infos == nullptr) {
        return;
    }
    for (int i = 0; i < dm_my_lport_num; ++i) {
        const dp_lib_lport_t &rec = dm_lport_infos[i];
        std::printf("port[%d] lport_phyid:0x%x, lport:%d, medium:%d, type:%d\r\n", i,
                    static_cast<unsigned>(rec.lport_phyid), rec.lport, rec.medium_type, rec.type);
    }
}
