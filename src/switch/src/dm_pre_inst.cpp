// Pre-installed cards: the list the data-plane master sends once the ports
// of those cards are synchronised (data message 15), its log-file record and
// event, and the question whether a port sits on such a card.
#include "dm_pre_inst.h"

#include <atomic>
#include <cstddef>
#include <cstring>

#include "dm_diag.h"
#include "dm_event_bridge.h"
#include "dm_port_lookup.h"

namespace {

// The list is written once, by the first message 15, before the flag is
// published; after that it never changes. So readers need no lock: a reader
// that sees the flag (acquire) also sees the list and the count it guards.
dm_per_inst_card_info_t dp_per_inst_card_list[DP_LIB_PER_INST_MAX];
int dp_lib_per_inst_card_count = 0;
// Claimed by the first message 15, so a second one, even a concurrent one,
// never touches the list.
std::atomic<bool> dm_port_pre_inst_taken{false};
// Published (release) only after the list and the count are in place.
std::atomic<bool> dm_port_pre_inst_done{false};

// The payload's count is taken as given but bounded by the list: a negative
// count is an empty list, silently, and a count above 256 is cut to 256, so
// neither the log loop nor the membership scan ever reads past the list.
int dm_pre_inst_count(int len)
{
    if (len < 0) {
        return 0;
    }
    if (len > DP_LIB_PER_INST_MAX) {
        DM_WARN("pre inst card num %d invalid, taken as %d\n", len, DP_LIB_PER_INST_MAX);
        return DP_LIB_PER_INST_MAX;
    }
    return len;
}

void dp_lib_show_per_inst_card(void)
{
    for (int i = 0; i < dp_lib_per_inst_card_count; ++i) {
        const dm_per_inst_card_info_t &card = dp_per_inst_card_list[i];
        DM_LOGFILE("per inst card : %d %d %d success, index:%d", card.dev, card.slot, card.sslot,
                   i);
    }
}

// Called only after the flag was seen set, so the list is complete.
bool dp_lib_is_per_inst_card(int dev, int slot, int sslot)
{
    for (int i = 0; i < dp_lib_per_inst_card_count; ++i) {
        const dm_per_inst_card_info_t &card = dp_per_inst_card_list[i];
        if (card.dev == dev && card.slot == slot && card.sslot == sslot) {
            return true;
        }
    }
    return false;
}

}  // namespace

void dp_lib_port_pre_inst_done_handle(void *data)
{
    // The dispatcher hands over only whole 1028-byte payloads; a null one
    // would come from a caller inside the library and is ignored.
    if (data == nullptr || dm_port_pre_inst_taken.exchange(true, std::memory_order_acq_rel)) {
        return;
    }
    const auto *bytes = static_cast<const unsigned char *>(data);
    int32_t len;
    std::memcpy(&len, bytes + offsetof(dp_lib_per_inst_info_t, len), sizeof len);
    std::memcpy(dp_per_inst_card_list, bytes + offsetof(dp_lib_per_inst_info_t, info),
                sizeof dp_per_inst_card_list);
    dp_lib_per_inst_card_count = dm_pre_inst_count(len);
    dm_port_pre_inst_done.store(true, std::memory_order_release);

    dp_lib_show_per_inst_card();
    dev_msg_t msg = {DEV_MSG_PRE_INST_PORT_SYNC_DONE, 0};
    dm_dev_event_notify_pd(&msg);
    DM_LOGFILE("notify DEV_MSG_PRE_INST_PORT_SYNC_DONE");
}

int dm_get_pre_inst_by_phyid(int phyid, bool *is_pre_inst)
{
    if (DM_BAD_PARAM(is_pre_inst == nullptr)) {
        return -1;
    }
    if (!dm_port_pre_inst_done.load(std::memory_order_acquire)) {
        DM_WARN("dm_port_pre_inst_done is false, info is not ready.\n");
        return -2;
    }
    DM_VERBOSE("find phyid = %x!\n", phyid);
    dp_lib_port_t pinfo;
    if (!dm_resolve_at(DM_HERE, phyid, &pinfo, "get pinfo fail!\n")) {
        return -3;
    }
    // The third member is the slot under which the interface manager
    // presents the port, not the record's sub-slot.
    const bool found = dp_lib_is_per_inst_card(pinfo.devid, pinfo.slotid, pinfo.lsm_user_slot);
    *is_pre_inst = found;
    DM_VERBOSE("is_pre_inst = %d!\n", found ? 1 : 0);
    return 0;
}
