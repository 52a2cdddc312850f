// dmsim's own parts, without the library behind them: expectations, the
// call adapter (on stand-in functions of the exported signatures) and the
// chassis generator. The scripted scenarios under tests/dmsim cover the
// words, printed forms, message builders and refusals of bad words.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_types.h>

#include "args.h"
#include "calls.h"
#include "gen.h"
#include "msgs.h"
#include "result.h"

using namespace dmsim;

namespace {

Args words(std::initializer_list<const char *> w)
{
    std::vector<std::string> v(w.begin(), w.end());
    return Args::from_words(v, 0);
}

bool holds(const Result &r, const std::string &clause)
{
    std::string why;
    bool ok = check_clause(r, clause, &why);
    if (!ok) {
        ADD_FAILURE() << clause << ": " << why << "\n" << render(r);
    }
    return ok;
}

}  // namespace

TEST(DmsimResult, ExpectationsCompareValuesNotText)
{
    Result r;
    r.title = "f(1)";
    r.add_int("ret", 0, Fmt::Dec);
    r.add_int("phyid", 0x0700200A, Fmt::Hex);
    r.add_int("ok", 1, Fmt::Bool);
    r.add_list("ports", {5, 6, 7}, Fmt::Dec);
    r.add_str("name", "LC8 card");
    r.add_unset("unit");
    r.add_null("cfg");
    r.add_int("pinfo.ifx", 0x1005, Fmt::Hex);
    for (const char *clause :
         {"phyid=mod_port(32,10)", "phyid=117448714", "ok=true", "ports=[5-7]", "name~LC8",
          "unit=unset", "cfg=null", "ret!=-1", "pinfo.ifx=0x1005"}) {
        EXPECT_TRUE(holds(r, clause));
    }
    std::string why;
    for (const char *clause : {"ret=-1", "unit=0", "ports=[5,6]", "ret"}) {
        EXPECT_FALSE(check_clause(r, clause, &why)) << clause;
    }
    EXPECT_EQ(
        render(r),
        "f(1) = 0  phyid=0x0700200a ok=true ports=[5-7] name=\"LC8 card\" unit=unset cfg=null\n"
        "  pinfo: ifx=0x00001005\n");
}

namespace {

// Stand-ins with the exported signatures, to drive the adapter.
int g_seen_capacity;
int fake_poe_ports(int, int *port, int *port_num)
{
    g_seen_capacity = *port_num;
    for (int i = 0; i < 3; ++i) {
        port[i] = 5 + i;
    }
    *port_num = 3;
    return 0;
}

int fake_chip_types(int card_type, int **chip_type, int *chip_num)
{
    *chip_type = static_cast<int *>(std::malloc(8 * sizeof(int)));
    for (int i = 0; i < 8; ++i) {
        (*chip_type)[i] = card_type + i;
    }
    *chip_num = 2;
    return 0;
}

int fake_name(int, char *name, int len)
{
    std::snprintf(name, static_cast<size_t>(len), "%s", "a-long-card-name");
    return 0;
}

int fake_all_modes(int, int *unit, int *mode_id, int *child_port, int *port_num)
{
    *unit = 1;
    mode_id[0] = 1;
    mode_id[1] = 2;
    port_num[0] = 4;
    port_num[1] = 2;
    for (int i = 0; i < 6; ++i) {
        child_port[i] = 20 + i;
    }
    child_port[6] = 99;  // beyond the children: not printed
    return 2;
}

int fake_fc(dm_convert_cfg_t **cfg, int *num)
{
    *cfg = static_cast<dm_convert_cfg_t *>(std::malloc(2 * sizeof(dm_convert_cfg_t)));
    (*cfg)[0] = {0x06010101, PORT_FC};
    (*cfg)[1] = {0x06010102, PORT_FC};
    *num = 2;
    return 0;
}

int fake_empty_fc(dm_convert_cfg_t **cfg, int *num)
{
    *cfg = nullptr;
    *num = 0;
    return 0;
}

bool call(const char *fn, void *sym, std::initializer_list<const char *> args, Result *r)
{
    std::string e;
    const CallEntry *entry = find_call(fn);
    EXPECT_NE(entry, nullptr) << fn;
    return entry != nullptr && run_call_at(sym, *entry, words(args), r, &e);
}

template <class Fn>
void *sym(Fn *fn)
{
    return reinterpret_cast<void *>(fn);
}

}  // namespace

TEST(DmsimCalls, ArraysCountsRecordsAndBuffers)
{
    Result r;
    ASSERT_TRUE(call("dm_get_poe_support_port", sym(fake_poe_ports), {"100"}, &r));
    EXPECT_EQ(g_seen_capacity, 256);
    EXPECT_TRUE(holds(r, "port=[5,6,7]"));
    ASSERT_TRUE(call("dm_get_poe_support_port", sym(fake_poe_ports), {"100", "port_num=255"}, &r));
    EXPECT_EQ(g_seen_capacity, 255);

    // Arrays the library allocates are printed and freed (the leak checker
    // would see one that is not).
    ASSERT_TRUE(call("dm_get_chip_type_by_card_type", sym(fake_chip_types), {"10"}, &r));
    EXPECT_TRUE(holds(r, "chip_type=[10-17]"));
    ASSERT_TRUE(call("dm_get_fc_startup_cfg", sym(fake_fc), {}, &r));
    EXPECT_TRUE(holds(r, "cfg.phyid=[0x06010101,0x06010102]"));
    ASSERT_TRUE(call("dm_get_fc_startup_cfg", sym(fake_empty_fc), {}, &r));
    EXPECT_TRUE(holds(r, "cfg=null"));

    // Counts that come from the result and from the sum of another array.
    ASSERT_TRUE(call("dm_local_get_child_unit_port_with_all_mode", sym(fake_all_modes), {"1"}, &r));
    EXPECT_TRUE(holds(r, "port_num=[4,2]"));
    EXPECT_TRUE(holds(r, "child_port=[20-25]"));

    // The name buffer is exactly the size the function is told.
    ASSERT_TRUE(call("dm_get_card_name_by_type", sym(fake_name), {"100", "5"}, &r));
    EXPECT_TRUE(holds(r, "name=a-lo"));
}

TEST(DmsimGen, ASixteenThousandPortChassisIsConsistent)
{
    Model m;
    std::vector<GenAction> plan;
    GenSummary sum;
    std::string err;
    ASSERT_TRUE(gen_chassis(words({"devs=1-2", "slots=0-31", "ports=256", "chips=8"}), m, &plan,
                            &sum, &err))
        << err;
    ASSERT_EQ(m.ports.size(), 16384u);
    std::set<int> ifx;
    std::set<int> keys;
    std::set<int> ss;
    for (const auto &kv : m.ports) {
        const dp_lib_port_t &p = kv.second;
        ifx.insert(p.ifx);
        keys.insert(p.lsm_key);
        ss.insert(p.ss_phyid);
        EXPECT_EQ(kv.first, dm_phyid_make(p.devid, p.slotid, p.l_chipid, p.chip_portid));
        EXPECT_EQ(p.g_chipid,
                  m.first_chipid(dm_get_gslot_from_lslot(p.devid, p.slotid, 0), p.l_chipid));
    }
    EXPECT_EQ(ifx.size(), 16384u);
    EXPECT_EQ(keys.size(), 16384u);
    EXPECT_EQ(ss.size(), 16384u);
    EXPECT_FALSE(ifx.count(0));
    std::set<int> ids;
    for (const auto &kv : m.chipids) {
        for (int i = 0; i < kv.second.id_num; ++i) {
            ids.insert(kv.second.id[i]);
        }
    }
    EXPECT_EQ(ids.size(), 512u);

    size_t addr_records = 0;
    for (const GenAction &a : plan) {
        if (a.kind == GenAction::Kind::Addr) {
            addr_lib_sync_head_t head;
            std::memcpy(&head, a.bytes.data(), sizeof head);
            EXPECT_EQ(static_cast<size_t>(head.len), a.bytes.size());
            addr_records += static_cast<size_t>(head.data_num);
        }
    }
    EXPECT_EQ(addr_records, 64u);
}

