// Fuzz target: the data-message handler, fed the input as one whole message
// (16-byte header and payload) exactly as the host's message thread hands it
// over. Every message kind is reachable. Now and then the show commands walk
// what the messages stored and the batch end announces the allocation.
#include <initializer_list>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    if (size > (1u << 20) || dmfuzz::is_large_list_begin(data, size)) {
        return 0;
    }
    dm_host_send_data(data, static_cast<int>(size));
    if (size >= 8 && data[size - 1] == 0x5A) {
        for (int para : {6, 9, 10, 11, 12}) {
            dm_host_show(para);
        }
        dm_host_batch(SYNC_BATCH_OVER);
    }
    dmfuzz::trim_host_records();
    return 0;
}
