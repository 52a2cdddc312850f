// The mirror of the address manager's chip-ID allocation: the synchronisation
// handlers that write it (dm_chipid_table.h) and the allocation events they
// raise.
#include "dm_chipid_sync.h"

#include <cstdio>
#include <cstring>

#include "dm_chipid_table.h"
#include "dm_diag.h"
#include "dm_event_bridge.h"
#include <dm_lib_pd/dm_ids.h>

namespace {

constexpr int kSlotTableLen = kDmSlotTableLen;
constexpr int kChipidNum = kDmChipidNum;
constexpr int kBsDataMax = 64;  // one record per accepted gslot
constexpr int kSyncHeadLen = static_cast<int>(sizeof(addr_lib_sync_head_t));
constexpr int kSlotRecLen = static_cast<int>(sizeof(chipid_slot_t));

// "a b c ]": the IDs of a record as the allocation and release traces list them.
void addr_lib_format_ids(const chipid_slot_t &slot, char *buf, size_t size)
{
    size_t used = 0;
    buf[0] = '\0';
    for (int i = 0; i < slot.id_num && i < CHIPID_SLOT_ID_MAX; ++i) {
        int n = std::snprintf(buf + used, size - used, "%d ", slot.id[i]);
        if (n < 0 || static_cast<size_t>(n) >= size - used) {
            return;
        }
        used += static_cast<size_t>(n);
    }
    std::snprintf(buf + used, size - used, "]");
}

constexpr size_t kIdsTextLen = CHIPID_SLOT_ID_MAX * 7 + 2;

// A valid record must name between 1 and 16 IDs, whole chips of at least one
// ID each, and only IDs that index the 2048-entry table.
bool addr_lib_valid_record_ok(const chipid_slot_t &rec)
{
    if (rec.id_num > CHIPID_SLOT_ID_MAX || rec.idnum_per_unit < 1 ||
        rec.idnum_per_unit > rec.id_num) {
        DM_ERROR("chipid info eror, gslot=%#08x idnum_per_unit=%d, id_num=%d\r\n", rec.gslot,
                 rec.idnum_per_unit, rec.id_num);
        return false;
    }
    // An ID of 2048 or more has no entry in the reverse table. Skipping just
    // that ID would leave a slot whose units no longer line up with its IDs,
    // so the whole record is refused and the slot keeps what it had.
    for (int i = 0; i < rec.id_num; ++i) {
        if (rec.id[i] >= kChipidNum) {
            DM_ERROR("chipid info eror, gslot=%#08x chipid=%d\r\n", rec.gslot, rec.id[i]);
            return false;
        }
    }
    return true;
}

// Enters a checked valid record; true when it differs from the stored one.
bool addr_lib_store_valid(dm_chipid_writer &w, const chipid_slot_t &rec)
{
    if (dm_diag_on(LIB_DBG_VERBOSE)) {
        char ids[kIdsTextLen];
        addr_lib_format_ids(rec, ids, sizeof ids);
        DM_VERBOSE(
            ">>>>gslot[%#08x card_type=%#x] id_num[%d] idnum_per_unit[%d] chipid alloc [%s\r\n",
            rec.gslot, rec.card_type, rec.id_num, rec.idnum_per_unit, ids);
    }
    int alloc_num = w.alloc_num();
    for (int i = 0; i < rec.id_num; ++i) {
        if (!w.owner(rec.id[i]).alloc) {
            ++alloc_num;
        }
        w.set_owner(rec.id[i], {rec.gslot, i / rec.idnum_per_unit, true});
    }
    w.set_alloc_num(alloc_num);
    const chipid_slot_t stored = w.slot(rec.gslot);
    const bool chg = std::memcmp(&stored, &rec, sizeof rec) != 0;
    w.set_slot(rec.gslot, rec);
    return chg;
}

// Releases the IDs of the stored record (not those the release names).
void addr_lib_release_slot(dm_chipid_writer &w, int gslot)
{
    const chipid_slot_t stored = w.slot(gslot);
    if (dm_diag_on(LIB_DBG_VERBOSE)) {
        char ids[kIdsTextLen];
        addr_lib_format_ids(stored, ids, sizeof ids);
        DM_VERBOSE(">>>>gslot[%#08x] chipid retrieve [%s\r\n", gslot, ids);
    }
    int alloc_num = w.alloc_num();
    for (int i = 0; i < stored.id_num; ++i) {
        if (w.owner(stored.id[i]).alloc) {
            --alloc_num;
        }
        w.set_owner(stored.id[i], {0, 0, false});
    }
    w.set_alloc_num(alloc_num);
    w.set_slot(gslot, {});
}

// Applies one record; true when the caller must announce the slot.
bool addr_lib_update_chipid(const chipid_slot_t &rec)
{
    if (!addr_lib_gslot_valid(rec.gslot)) {
        DM_ERROR("chipid info eror, gslot=%#08x\r\n", rec.gslot);
        return false;
    }
    bool chg = false;
    {
        dm_chipid_writer w;
        switch (rec.status) {
        case CHIPID_VALID:
            if (!addr_lib_valid_record_ok(rec)) {
                return false;
            }
            chg = addr_lib_store_valid(w, rec);
            break;
        case CHIPID_NONE:
            addr_lib_release_slot(w, rec.gslot);
            return false;
        default:
            DM_ERROR(">>>>gslot status[%d] error\r\n", rec.status);
            return false;
        }
    }
    // The host is asked only after the lock is released.
    return chg && dm_lib_data_bs_over();
}

slot_chipid_st_t addr_lib_get_slot_status(int gslot)
{
    return static_cast<slot_chipid_st_t>(dm_chipid_slot_copy(gslot).status);
}

// One event per chip ID of the slot, each naming the unit that owns it.
void addr_notify_chipid_alloc_event(int gslot)
{
    // The real-time path and the batch end raise on different host threads,
    // so each raise builds its message on its own stack; the event bridge
    // copies it before returning.
    struct {
        dev_msg_t head;
        dm_chipid_alloc_t alloc;
    } addr_notify_buf = {};
    static_assert(sizeof addr_notify_buf == 24, "event message is 24 bytes");
    addr_notify_buf.head.msg_id = DEV_MSG_CHIPIP_ALLOC;
    addr_notify_buf.head.data_len = static_cast<int32_t>(sizeof(dm_chipid_alloc_t));
    addr_notify_buf.alloc.node = dm_get_phyid_from_gslot(gslot);
    addr_notify_buf.alloc.node_type = DM_TYPE_BOX;

    const chipid_slot_t slot = dm_chipid_slot_copy(gslot);
    for (int i = 0; i < slot.id_num; ++i) {
        const int chipid = slot.id[i];
        addr_notify_buf.alloc.chipid = chipid;
        addr_notify_buf.alloc.unit = dm_chipid_owner_of(chipid).unit;
        const dm_chipid_alloc_t &a = addr_notify_buf.alloc;
        DM_VERBOSE(">>>>gslot[%#08x] node_type[%d] unit[%d] notify chipid[%d] alloc event\r\n",
                   gslot, a.node_type, a.unit, a.chipid);
        dm_dev_event_notify_pd(&addr_notify_buf.head);
        DM_LOGFILE("chipid:%d,node:%x,unit:%d,type:%d\n", a.chipid, a.node, a.unit, a.node_type);
    }
}

// Every record of the data is present: 12 + 48 x data_num bytes within len.
// The header's own checks stop at len, so a shorter block is refused here
// before a record past its end is read.
bool addr_lib_records_present(const addr_lib_sync_head_t &head)
{
    const long long need = kSyncHeadLen + static_cast<long long>(kSlotRecLen) * head.data_num;
    if (head.len < need) {
        DM_ERROR("addr data len error, sync_len=%d data_num=%d\r\n", head.len, head.data_num);
        return false;
    }
    return true;
}

chipid_slot_t addr_lib_record_at(const void *data_buf, int i)
{
    chipid_slot_t rec;
    std::memcpy(
        &rec,
        static_cast<const char *>(data_buf) + kSyncHeadLen + static_cast<size_t>(i) * kSlotRecLen,
        sizeof rec);
    return rec;
}

// Batch data updates silently: the batch end announces every valid slot.
void addr_lib_deal_bs_data(const void *data_buf, const addr_lib_sync_head_t &head)
{
    DM_VERBOSE(">>>>addr recv bs data[len=%d]\r\n", head.len);
    if (head.data_num < 0 || head.data_num > kBsDataMax) {
        DM_ERROR("addr bs data number[%d] error\r\n", head.data_num);
        return;
    }
    if (!addr_lib_records_present(head)) {
        return;
    }
    DM_VERBOSE("bs data number=%d\r\n", head.data_num);
    for (int i = 0; i < head.data_num; ++i) {
        addr_lib_update_chipid(addr_lib_record_at(data_buf, i));
    }
}

void addr_lib_deal_real_data(const void *data_buf, const addr_lib_sync_head_t &head)
{
    DM_VERBOSE(">>>>addr recv real data[len=%d]\r\n", head.len);
    if (head.data_num != 1) {
        DM_ERROR("addr real data number[%d] error\r\n", head.data_num);
        return;
    }
    if (!addr_lib_records_present(head)) {
        return;
    }
    const chipid_slot_t rec = addr_lib_record_at(data_buf, 0);
    if (addr_lib_update_chipid(rec)) {
        addr_notify_chipid_alloc_event(rec.gslot);
    }
}

}  // namespace

void addr_chip_lib_reg_pd_frame(void)
{
    addr_lib_pd_frame_t frame = {addr_chip_lib_data_handle, addr_chip_lib_batch_handle};
    addr_lib_reg_pd_frame(&frame);
}

void addr_chip_lib_data_handle(void *data_buf, int data_len)
{
    if (data_buf == nullptr || data_len < 0) {
        DM_ERROR("input arguments error, data_len=%d\r\n", data_len);
        return;
    }
    // The header itself must be present before its len can be compared.
    if (data_len < kSyncHeadLen) {
        DM_ERROR("addr data len error, rcv_len=%d head_len=%d\r\n", data_len, kSyncHeadLen);
        return;
    }
    addr_lib_sync_head_t head;
    std::memcpy(&head, data_buf, sizeof head);
    if (head.len != data_len) {
        DM_ERROR("addr data len error, rcv_len=%d sync_len=%d\r\n", data_len, head.len);
        return;
    }
    switch (head.type) {
    case ADDR_LIB_BS_SYNC:
        addr_lib_deal_bs_data(data_buf, head);
        break;
    case ADDR_LIB_REAL_SYNC:
        addr_lib_deal_real_data(data_buf, head);
        break;
    default:
        DM_ERROR("addr data type error, type=%d sync_len=%d\r\n", head.type, head.len);
        break;
    }
}

void addr_chip_lib_batch_handle(int smooth_flag) { (void)smooth_flag; }

void addr_lib_batch_notify_alloc_event(void)
{
    for (int gslot = 0; gslot < kSlotTableLen; ++gslot) {
        if (addr_lib_get_slot_status(gslot) == CHIPID_VALID) {
            addr_notify_chipid_alloc_event(gslot);
        }
    }
}
