// Fixed Dune chip IDs and system ports: their values, ranges and edges are
// in the scripted chip-ID scenario; here, what each refusal says.
#include <functional>
#include <string>

#include "dm_test_env.h"
#include <dm_lib_pd/dm_chipid_query.h>

TEST(FixedIds, RefusalsSayWhy)
{
    dm_host_set_dbg_level(LIB_DBG_ERROR);
    int d = 0, s = 0, u = 0, p = 0;
    const std::pair<std::function<int()>, std::string> rows[] = {
        {[] { return dm_get_dune_static_chipid(2, 31, 0); },
         "gslot[0x00003f] is chassis mb slot\r\n"},
        {[&] { return dm_get_dev_slot_unit_by_dune_chipid(539, &d, &s, &u); },
         "gslot is invalid(0x40)\r\n"},
        {[&] { return dm_get_sysport_from_dev_slot_unit_port(1, 3, 8, 0, &p); },
         "input arguments error, dev=1 slot=3 unit=8 port=0\r\n"},
    };
    for (const auto &row : rows) {
        int ret = 0;
        const std::string out = dmtest::capture_stdout([&] { ret = row.first(); });
        EXPECT_EQ(ret, -2) << row.second;
        EXPECT_TRUE(dmtest::has(out, row.second)) << out;
    }
}
