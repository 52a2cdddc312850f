// Fuzz target: the chip-ID synchronisation handler that the host's
// address-manager client calls, fed the input as one block of synchronisation
// data. The initial synchronisation is reported over, so that changed
// real-time records raise allocation events (checked by the application's
// handler); every few inputs the batch end announces the whole allocation.
// After each input the chip-ID queries must agree with each other.
#include <vector>

#include "fuzz_common.h"

namespace {

constexpr int kChipidNum = 2048;

// Every allocated ID the list query hands out is known to the by-ID query,
// with the same node and unit, and the list is in ascending order.
void check_allocation()
{
    static std::vector<dm_chipid_alloc_t> list(kChipidNum);
    int num = kChipidNum;
    DM_FUZZ_CHECK(dm_get_alloced_chipid(list.data(), &num) == 0);
    DM_FUZZ_CHECK(num >= 0 && num <= kChipidNum, num);
    int prev = -1;
    for (int i = 0; i < num; ++i) {
        const dm_chipid_alloc_t &a = list[static_cast<size_t>(i)];
        DM_FUZZ_CHECK(a.chipid > prev && a.chipid < kChipidNum, a.chipid, prev);
        prev = a.chipid;
        int node = 0;
        int unit = 0;
        DM_FUZZ_CHECK(dm_get_node_unit_from_chipid(a.chipid, &node, &unit) == 0, a.chipid);
        DM_FUZZ_CHECK(node == a.node && unit == a.unit, a.chipid, unit);
    }
    // A capacity one short of the count is refused and writes nothing.
    if (num > 0) {
        int small = num - 1;
        DM_FUZZ_CHECK(dm_get_alloced_chipid(list.data(), &small) == -4, small);
        DM_FUZZ_CHECK(small == num - 1, small);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    dmfuzz::start();
    dm_host_set_bs_over(true);
    if (size > (1u << 20)) {
        return 0;
    }
    dm_host_addr_data(data, static_cast<int>(size));
    if (size > 0 && (data[0] & 0x07) == 0) {
        dm_host_batch(1);
    }
    check_allocation();
    dmfuzz::trim_host_records();
    return 0;
}
