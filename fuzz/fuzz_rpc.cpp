// Fuzz target: the request-reply handler. The first input byte chooses what
// the application's RPC handler answers (a failure, or a reply of some
// length, including lengths beyond the room it is given); the rest is the
// request. The host stand-in hands the handler a buffer of exactly the room
// it promises (or the request's size, if larger), so a reply written past it
// is caught. The reply, when one is written, must fit that room and start
// with the answer's result.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    if (size == 0 || size > (1u << 16)) {
        return 0;
    }
    const uint8_t control = data[0];
    const int result = (control & 0x80) != 0 ? -(control & 0x03) - 1 : 0;
    const int reply_len = static_cast<int>(control & 0x7F) * 2 - 4;  // -4 .. 250
    dmfuzz::set_rpc_answer(result, reply_len);

    const size_t len = size - 1;
    const size_t room = std::max<size_t>(len, DM_HOST_RPC_REPLY_ROOM);
    auto *buf = static_cast<unsigned char *>(std::malloc(room));
    if (len > 0) {
        std::memcpy(buf, data + 1, len);
    }
    int ack_len = -12345;
    dm_host_send_rpc(len > 0 ? buf : nullptr, static_cast<int>(len), &ack_len);
    if (ack_len != -12345) {
        // Only an answered request sets the reply length.
        DM_FUZZ_CHECK(ack_len >= 4 && static_cast<size_t>(ack_len) <= room, ack_len, room);
        int32_t got;
        std::memcpy(&got, buf, sizeof got);
        DM_FUZZ_CHECK(got == result || got == -1, got, result);
        DM_FUZZ_CHECK(got != 0 || ack_len == 4 + reply_len, ack_len, reply_len);
    }
    std::free(buf);
    return 0;
}
