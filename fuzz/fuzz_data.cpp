// Fuzz target: the data-message handler, fed the input as one whole message
// (16-byte header and payload) exactly as the host's message thread hands it
// over. Every message kind is reachable. Now and then the show commands walk
// what the messages stored and the batch end announces the allocation.
#include <cstring>
#include <initializer_list>

#include "fuzz_common.h"

namespace {

// A port-conversion list may legitimately hold up to 268435455 entries, and
// its show prints every one; the harness skips the show of a list that a
// begin made larger than this, so that one input does not run for minutes.
constexpr int kShowListMax = 4096;
bool big_list[2];

void note_list_size(const uint8_t *data, size_t size)
{
    if (size < sizeof(dp_lib_msg_h_t) + 4) {
        return;
    }
    dp_lib_msg_h_t head;
    std::memcpy(&head, data, sizeof head);
    int32_t num;
    std::memcpy(&num, data + sizeof head, sizeof num);
    if (head.msgid == DP_LIB_MSG_FC_START_CFG_BEGIN || head.msgid == DP_LIB_MSG_FC_SAVE_CFG_BEGIN) {
        bool &big = big_list[head.msgid == DP_LIB_MSG_FC_SAVE_CFG_BEGIN ? 1 : 0];
        big = big || num > kShowListMax;
        big = big && !(num >= 0 && num <= kShowListMax);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    if (size > (1u << 20)) {
        return 0;
    }
    dm_host_send_data(data, static_cast<int>(size));
    note_list_size(data, size);
    if (size >= 8 && data[size - 1] == 0x5A) {
        dm_host_show(DP_LIB_DBG_SHOW_ALL_PORT);
        dm_host_show(DP_LIB_DBG_SHOW_MGMT);
        if (!big_list[0]) {
            dm_host_show(DP_LIB_DBG_SHOW_FC_START_CFG);
        }
        if (!big_list[1]) {
            dm_host_show(DP_LIB_DBG_SHOW_FC_SAVE_CFG);
        }
        dm_host_batch(SYNC_BATCH_OVER);
    }
    dmfuzz::trim_host_records();
    return 0;
}
