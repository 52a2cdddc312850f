// dmsim's own parts, without the library behind them: reading words and
// values, answers and expectations, the call adapter (on stand-in
// functions of the exported signatures), the chassis generator and the
// chassis picture. The scripted scenarios under tests/dmsim cover the
// printed forms, the message builders and the refusals of bad words.
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
#include "picture.h"
#include "result.h"

using namespace dmsim;

namespace {

Args words(std::initializer_list<const char *> w)
{
    std::vector<std::string> v(w.begin(), w.end());
    return Args::from_words(v, 0);
}

int num(const std::string &text)
{
    int v = 0;
    std::string err;
    EXPECT_TRUE(parse_int(text, &v, &err)) << text << ": " << err;
    return v;
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

TEST(DmsimArgs, NumbersBuildersListsAndWords)
{
    EXPECT_EQ(num("-7"), -7);
    EXPECT_EQ(num("0xffffffff"), -1);
    EXPECT_EQ(num("true"), 1);
    EXPECT_EQ(num("node(2,3,1)"), 0x02043000);
    EXPECT_EQ(num("unit_port(1,3,1,10)"), 0x0804310A);
    EXPECT_EQ(num("sysport(1,3,1,10)"), 690);
    int v = 0;
    std::string err;
    for (const char *bad : {"12ab", "", "slot_lport(1,2,3,4)", "0x"}) {
        EXPECT_FALSE(parse_int(bad, &v, &err)) << bad;
    }

    std::vector<int> l;
    ASSERT_TRUE(parse_list("1-3,7,0*2,node(1,3),-2--1", &l, &err)) << err;
    EXPECT_EQ(l, (std::vector<int>{1, 2, 3, 7, 0, 0, 0x01003000, -2, -1}));
    EXPECT_FALSE(parse_list("1-100", &l, &err, 10));

    std::vector<std::string> w;
    ASSERT_TRUE(split_words("call f  \"a b\" x=1 # comment", &w, &err));
    EXPECT_EQ(w, (std::vector<std::string>{"call", "f", "a b", "x=1"}));
    Args a = Args::from_words(w, 1);
    EXPECT_EQ(a.pos, (std::vector<std::string>{"f", "a b"}));
    EXPECT_EQ(a.unknown({"y"}), (std::vector<std::string>{"x"}));

    std::vector<uint8_t> b;
    ASSERT_TRUE(parse_hex_bytes({"0a", "0x1b2c"}, &b, &err));
    EXPECT_EQ(b, (std::vector<uint8_t>{0x0a, 0x1b, 0x2c}));
}

TEST(DmsimResult, ListsPrintCompactlyAndReadBack)
{
    std::vector<int> v = {1, 2, 3, 4, 9, 0, 0, 0, 0, 5, 6};
    std::string text = format_list(v, Fmt::Dec);
    EXPECT_EQ(text, "1-4,9,0*4,5,6");
    std::vector<int> back;
    std::string err;
    ASSERT_TRUE(parse_list(text, &back, &err));
    EXPECT_EQ(back, v);
    EXPECT_EQ(format_int(-1, Fmt::Hex), "-1");
}

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
int fake_unit_port(int phyid, int *unit, int *port)
{
    if (unit == nullptr || port == nullptr) {
        return -1;
    }
    *unit = phyid & 0xF;
    if (phyid < 0) {
        return -1;  // a failure that wrote one output only
    }
    *port = 10;
    return 0;
}

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

int fake_pinfo(int phyid, dm_port_t *pinfo)
{
    if (phyid == 0) {
        return -1;
    }
    *pinfo = {0x1005, phyid, 0x01003000, 1, 3, 0, 5, 43, 1, 10};
    return 0;
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

TEST(DmsimCalls, InputsAndScalarOutputs)
{
    Result r;
    const char *fn = "dm_get_unit_port_from_phyid";
    ASSERT_TRUE(call(fn, sym(fake_unit_port), {"unit_port(1,3,1,10)"}, &r));
    EXPECT_EQ(render(r), "dm_get_unit_port_from_phyid(0x0804310a) = 0  unit=10 port=10\n");
    // An output the function did not write shows as unset.
    ASSERT_TRUE(call(fn, sym(fake_unit_port), {"-3"}, &r));
    EXPECT_TRUE(holds(r, "unit=13"));
    EXPECT_TRUE(holds(r, "port=unset"));
    // A null pointer on request.
    ASSERT_TRUE(call(fn, sym(fake_unit_port), {"1", "port=null"}, &r));
    EXPECT_TRUE(holds(r, "ret=-1"));
    EXPECT_EQ(r.find("port"), nullptr);
}

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

    ASSERT_TRUE(call("dm_get_pinfo_by_phyid", sym(fake_pinfo), {"0"}, &r));
    EXPECT_TRUE(holds(r, "pinfo=unset"));
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

TEST(DmsimGen, AddsToTheChassisAndRefusesWithoutChangingIt)
{
    Model m;
    std::vector<GenAction> plan;
    GenSummary sum;
    std::string err;
    auto card = std::make_unique<dp_lib_card_type_info_t>();
    ASSERT_TRUE(
        build_card_type(words({"type=7", "ports=4", "chips=1", "map=2:0:30"}), card.get(), &err));
    m.card_types[7] = *card;
    ASSERT_TRUE(gen_chassis(words({"slots=1", "cards=7"}), m, &plan, &sum, &err)) << err;
    EXPECT_EQ(sum.card_types, 0);
    EXPECT_EQ(m.ports.at(dm_phyid_make(1, 1, 0, 30)).portid, 2);  // the described card type's map

    ASSERT_TRUE(gen_chassis(words({"devs=2", "slots=5-6", "cards=8", "ifx=0", "me=none"}), m, &plan,
                            &sum, &err));
    EXPECT_EQ(m.first_chipid(dm_get_gslot_from_lslot(2, 5, 0), 0),
              33);  // numbering goes on after 32
    EXPECT_EQ(m.me.node, dm_node_make(1, 1));

    size_t before = m.ports.size();
    EXPECT_FALSE(gen_chassis(words({"slots=9", "me=1/8"}), m, &plan, &sum, &err));
    EXPECT_FALSE(gen_chassis(words({"slots=9", "chipid=2047"}), m, &plan, &sum, &err));
    EXPECT_EQ(m.ports.size(), before);
    EXPECT_EQ(m.cards.count(dm_node_make(1, 9)), 0u);
}

TEST(DmsimPicture, OneCardAndTheLargeChassisSummary)
{
    Model m;
    std::vector<GenAction> plan;
    GenSummary sum;
    std::string err;
    ASSERT_TRUE(gen_chassis(words({"slots=1-2", "ports=4", "chips=2"}), m, &plan, &sum, &err));
    PictureOptions one;
    one.slot = 2;
    std::string pic = draw_chassis(m, one);
    EXPECT_EQ(pic.find("0x00101001"), std::string::npos) << pic;
    EXPECT_NE(pic.find("0x00102001"), std::string::npos) << pic;

    Model big;
    ASSERT_TRUE(gen_chassis(words({"slots=1-3", "ports=256", "chips=8"}), big, &plan, &sum, &err));
    pic = draw_chassis(big, PictureOptions{});
    EXPECT_NE(pic.find("(768 ports: show chassis dev=D slot=S draws a card's front panel)"),
              std::string::npos);
    EXPECT_EQ(pic.find("+----"), std::string::npos);
}
