// dmsim's own parts, without the library behind them: reading words and
// values, answers and expectations, the call adapter (on stand-in
// functions of the exported signatures), the message builders, the chassis
// generator and the chassis picture.
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
    EXPECT_EQ(num("42"), 42);
    EXPECT_EQ(num("-7"), -7);
    EXPECT_EQ(num("0x1F"), 31);
    EXPECT_EQ(num("0xffffffff"), -1);
    EXPECT_EQ(num("true"), 1);
    EXPECT_EQ(num("node(1,3)"), 0x01003000);
    EXPECT_EQ(num("node(2,3,1)"), 0x02043000);
    EXPECT_EQ(num("gslot(2,3)"), 35);
    EXPECT_EQ(num("slot_lport(1,3,5)"), 0x06010305);
    EXPECT_EQ(num("mod_port(43,10)"), 0x07002B0A);
    EXPECT_EQ(num("unit_port(1,3,1,10)"), 0x0804310A);
    EXPECT_EQ(num("dm_phyid(1,3,1,10)"), 0x0100320A);
    EXPECT_EQ(num("sysport(1,3,1,10)"), 690);
    EXPECT_EQ(num("mgmt(1,30,1)"), 0x0F011E01);
    int v = 0;
    std::string err;
    for (const char *bad :
         {"0x100000000", "12ab", "", "-", "node(1)", "slot_lport(1,2,3,4)", "nosuch(1)", "0x"}) {
        EXPECT_FALSE(parse_int(bad, &v, &err)) << bad;
    }

    std::vector<int> l;
    ASSERT_TRUE(parse_list("1-3,7,0*2,node(1,3),-2--1", &l, &err)) << err;
    EXPECT_EQ(l, (std::vector<int>{1, 2, 3, 7, 0, 0, 0x01003000, -2, -1}));
    EXPECT_FALSE(parse_list("5-3", &l, &err));
    EXPECT_FALSE(parse_list("1-100", &l, &err, 10));

    std::vector<std::string> w;
    ASSERT_TRUE(split_words("call f  \"a b\" x=1 # comment", &w, &err));
    EXPECT_EQ(w, (std::vector<std::string>{"call", "f", "a b", "x=1"}));
    Args a = Args::from_words(w, 1);
    EXPECT_EQ(a.pos, (std::vector<std::string>{"f", "a b"}));
    ASSERT_NE(a.opt("x"), nullptr);
    EXPECT_EQ(a.unknown({"y"}), (std::vector<std::string>{"x"}));
    EXPECT_FALSE(split_words("echo \"open", &w, &err));

    std::vector<uint8_t> b;
    ASSERT_TRUE(parse_hex_bytes({"0a", "0x1b2c"}, &b, &err));
    EXPECT_EQ(b, (std::vector<uint8_t>{0x0a, 0x1b, 0x2c}));
    EXPECT_FALSE(parse_hex_bytes({"abc"}, &b, &err));
    EXPECT_TRUE(parse_port_type("fc", &v, &err) && v == PORT_FC);
    EXPECT_TRUE(parse_llcb_type("10g", &v, &err) && v == 8);
    EXPECT_FALSE(parse_debug_level("5", &v, &err));
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
    EXPECT_EQ(format_int(0x0804310A, Fmt::Hex), "0x0804310a");
    EXPECT_EQ(format_int(-1, Fmt::Hex), "-1");
    EXPECT_EQ(fmt_for_name("pinfo.node"), Fmt::Hex);
    EXPECT_EQ(fmt_for_name("node_type"), Fmt::NodeType);
    EXPECT_EQ(fmt_for_name("lc_type"), Fmt::Dec);
    EXPECT_EQ(format_int(7, Fmt::PortType), "7(fc)");
    EXPECT_EQ(fmt_for_name("port_phyids"), Fmt::Hex);
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
    EXPECT_TRUE(holds(r, "ret=0"));
    EXPECT_TRUE(holds(r, "phyid=mod_port(32,10)"));
    EXPECT_TRUE(holds(r, "phyid=117448714"));
    EXPECT_TRUE(holds(r, "ok=true"));
    EXPECT_TRUE(holds(r, "ports=[5-7]"));
    EXPECT_TRUE(holds(r, "name=LC8 card"));
    EXPECT_TRUE(holds(r, "name~LC8"));
    EXPECT_TRUE(holds(r, "unit=unset"));
    EXPECT_TRUE(holds(r, "cfg=null"));
    EXPECT_TRUE(holds(r, "ret!=-1"));
    EXPECT_TRUE(holds(r, "pinfo.ifx=0x1005"));
    std::string why;
    EXPECT_FALSE(check_clause(r, "ret=-1", &why));
    EXPECT_NE(why.find("ret is 0, expected -1"), std::string::npos) << why;
    EXPECT_FALSE(check_clause(r, "unit=0", &why));
    EXPECT_FALSE(check_clause(r, "nosuch=1", &why));
    EXPECT_FALSE(check_clause(r, "ports=[5,6]", &why));
    EXPECT_FALSE(check_clause(r, "ret", &why));
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

bool fake_bool(int phyid) { return phyid == 1; }

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

int fake_medium_switch(int, bool *sw)
{
    *sw = true;
    return 0;
}

dev_event_handler g_registered;
int fake_register(dev_event_handler f)
{
    g_registered = f;
    return f != nullptr ? 0 : -1;
}
int fake_handler(dev_msg_t *) { return 0; }

bool call(const char *fn, void *sym, std::initializer_list<const char *> args, Result *r,
          std::string *err = nullptr)
{
    std::string e;
    const CallEntry *entry = find_call(fn);
    EXPECT_NE(entry, nullptr) << fn;
    bool ok = entry != nullptr && run_call_at(sym, *entry, words(args), r, &e);
    if (err != nullptr) {
        *err = e;
    }
    return ok;
}

}  // namespace

TEST(DmsimCalls, TheTableMatchesTheDeclarations)
{
    std::set<std::string> names;
    for (const CallEntry &e : call_table()) {
        EXPECT_EQ(e.params.size(), e.arity) << e.name;
        EXPECT_TRUE(names.insert(e.name).second) << "twice: " << e.name;
        EXPECT_EQ(call_usage(e).rfind(e.name, 0), 0u);
    }
    EXPECT_EQ(call_usage(*find_call("dm_get_poe_support_port")),
              "dm_get_poe_support_port card_type [port_num=256] -> ret port[] port_num");
    EXPECT_EQ(find_call("no_such_function"), nullptr);
}

TEST(DmsimCalls, InputsAndScalarOutputs)
{
    Result r;
    auto sym = reinterpret_cast<void *>(fake_unit_port);
    ASSERT_TRUE(call("dm_get_unit_port_from_phyid", sym, {"unit_port(1,3,1,10)"}, &r));
    EXPECT_EQ(render(r), "dm_get_unit_port_from_phyid(0x0804310a) = 0  unit=10 port=10\n");
    // An output the function did not write shows as unset.
    ASSERT_TRUE(call("dm_get_unit_port_from_phyid", sym, {"-3"}, &r));
    EXPECT_TRUE(holds(r, "ret=-1"));
    EXPECT_TRUE(holds(r, "unit=13"));
    EXPECT_TRUE(holds(r, "port=unset"));
    // A null pointer on request.
    ASSERT_TRUE(call("dm_get_unit_port_from_phyid", sym, {"1", "port=null"}, &r));
    EXPECT_EQ(r.title, "dm_get_unit_port_from_phyid(0x00000001, port=null)");
    EXPECT_TRUE(holds(r, "ret=-1"));
    EXPECT_EQ(r.find("port"), nullptr);
    // Wrong words are refused before anything is called.
    std::string err;
    EXPECT_FALSE(call("dm_get_unit_port_from_phyid", sym, {}, &r, &err));
    EXPECT_NE(err.find("usage: dm_get_unit_port_from_phyid phyid -> ret unit port"),
              std::string::npos)
        << err;
    EXPECT_FALSE(call("dm_get_unit_port_from_phyid", sym, {"1", "2"}, &r, &err));
    EXPECT_FALSE(call("dm_get_unit_port_from_phyid", sym, {"x1"}, &r, &err));
    EXPECT_FALSE(call("dm_get_unit_port_from_phyid", sym, {"1", "bogus=1"}, &r, &err));
    EXPECT_FALSE(call("dm_get_unit_port_from_phyid", sym, {"1", "unit=5"}, &r, &err));

    ASSERT_TRUE(call("dm_port_is_on_local_device", reinterpret_cast<void *>(fake_bool), {"1"}, &r));
    EXPECT_TRUE(holds(r, "ret=true"));
    ASSERT_TRUE(
        call("dm_get_port_medium_switch", reinterpret_cast<void *>(fake_medium_switch), {"1"}, &r));
    EXPECT_TRUE(holds(r, "medium_switch=true"));
}

TEST(DmsimCalls, ArraysCountsRecordsAndBuffers)
{
    Result r;
    ASSERT_TRUE(
        call("dm_get_poe_support_port", reinterpret_cast<void *>(fake_poe_ports), {"100"}, &r));
    EXPECT_EQ(g_seen_capacity, 256);
    EXPECT_TRUE(holds(r, "port=[5,6,7]"));
    EXPECT_TRUE(holds(r, "port_num=3"));
    ASSERT_TRUE(call("dm_get_poe_support_port", reinterpret_cast<void *>(fake_poe_ports),
                     {"100", "port_num=255"}, &r));
    EXPECT_EQ(g_seen_capacity, 255);

    // Arrays the library allocates are printed and freed (the leak checker
    // would see one that is not).
    ASSERT_TRUE(call("dm_get_chip_type_by_card_type", reinterpret_cast<void *>(fake_chip_types),
                     {"10"}, &r));
    EXPECT_TRUE(holds(r, "chip_type=[10-17]"));
    EXPECT_TRUE(holds(r, "chip_num=2"));
    ASSERT_TRUE(call("dm_get_fc_startup_cfg", reinterpret_cast<void *>(fake_fc), {}, &r));
    EXPECT_TRUE(holds(r, "cfg.phyid=[0x06010101,0x06010102]"));
    EXPECT_TRUE(holds(r, "cfg.type=[7,7]"));
    ASSERT_TRUE(call("dm_get_fc_startup_cfg", reinterpret_cast<void *>(fake_empty_fc), {}, &r));
    EXPECT_TRUE(holds(r, "cfg=null"));

    // Counts that come from the result and from the sum of another array.
    ASSERT_TRUE(call("dm_local_get_child_unit_port_with_all_mode",
                     reinterpret_cast<void *>(fake_all_modes), {"1"}, &r));
    EXPECT_TRUE(holds(r, "mode_id=[1,2]"));
    EXPECT_TRUE(holds(r, "port_num=[4,2]"));
    EXPECT_TRUE(holds(r, "child_port=[20-25]"));

    // The name buffer is exactly the size the function is told.
    ASSERT_TRUE(
        call("dm_get_card_name_by_type", reinterpret_cast<void *>(fake_name), {"100", "5"}, &r));
    EXPECT_TRUE(holds(r, "name=a-lo"));
    ASSERT_TRUE(call("dm_get_card_name_by_type", reinterpret_cast<void *>(fake_name), {"100"}, &r));
    EXPECT_TRUE(holds(r, "name=a-long-card-name"));
    std::string err;
    EXPECT_FALSE(call("dm_get_card_name_by_type", reinterpret_cast<void *>(fake_name),
                      {"100", "1000000"}, &r, &err));

    ASSERT_TRUE(call("dm_get_pinfo_by_phyid", reinterpret_cast<void *>(fake_pinfo),
                     {"slot_lport(1,3,5)"}, &r));
    EXPECT_TRUE(holds(r, "pinfo.ifx=0x1005"));
    EXPECT_TRUE(holds(r, "pinfo.chip_portid=10"));
    ASSERT_TRUE(call("dm_get_pinfo_by_phyid", reinterpret_cast<void *>(fake_pinfo), {"0"}, &r));
    EXPECT_TRUE(holds(r, "pinfo=unset"));
}

TEST(DmsimCalls, HandlersAreTheApplicationsOrNull)
{
    set_call_handlers(reinterpret_cast<void *>(fake_handler), nullptr);
    Result r;
    ASSERT_TRUE(
        call("dm_reg_dev_event_handler_pd", reinterpret_cast<void *>(fake_register), {"app"}, &r));
    EXPECT_EQ(g_registered, &fake_handler);
    ASSERT_TRUE(
        call("dm_reg_dev_event_handler_pd", reinterpret_cast<void *>(fake_register), {"null"}, &r));
    EXPECT_EQ(g_registered, nullptr);
    EXPECT_TRUE(holds(r, "ret=-1"));
    std::string err;
    EXPECT_FALSE(call("dm_reg_dev_event_handler_pd", reinterpret_cast<void *>(fake_register), {"7"},
                      &r, &err));
}

TEST(DmsimMsgs, RecordsFromReadableOptions)
{
    std::string err;
    auto card = std::make_unique<dp_lib_card_type_info_t>();
    ASSERT_TRUE(
        build_card_type(words({"type=100", "name=LC8", "ports=8", "chips=2", "chiptype=10",
                               "cport=5", "map=3:1:20,8:-1:0", "poe_lports=5-6", "relate=1:9-12"}),
                        card.get(), &err))
        << err;
    EXPECT_EQ(card->port_num, 8);
    EXPECT_STREQ(card->name, "LC8");
    EXPECT_EQ(card->chip_types[1], 10);
    EXPECT_EQ(card->lport_unit[0], -1);
    EXPECT_EQ(card->lport_unit[1], 0);
    EXPECT_EQ(card->chip_port[1], 5);
    EXPECT_EQ(card->lport_unit[3], 1);
    EXPECT_EQ(card->chip_port[3], 20);
    EXPECT_EQ(card->lport_unit[5], 1);
    EXPECT_EQ(card->chip_port[5], 5);
    EXPECT_EQ(card->lport_unit[8], -1);
    EXPECT_EQ(card->chip_port[8], -1);
    EXPECT_EQ(card->chip_cport_max[0], 8);
    EXPECT_EQ(card->chip_cport_max[1], 20);
    EXPECT_EQ(card->lport_poe_support[5], 1);
    EXPECT_EQ(card->lport_poe_support[7], 0);
    EXPECT_EQ(card->relate_port[0].child_lport_end, 12);
    EXPECT_FALSE(build_card_type(words({"type=1", "chips=9"}), card.get(), &err));
    EXPECT_FALSE(build_card_type(words({"type=1", "prots=8"}), card.get(), &err));
    EXPECT_EQ(err, "unknown option 'prots'");
    EXPECT_FALSE(build_card_type(words({"ports=8"}), card.get(), &err));

    dp_lib_port_t port;
    ASSERT_TRUE(build_port(words({"dev=1", "slot=3", "lport=5", "unit=1", "cport=10", "ifx=0x1005",
                                  "type=fc", "modes=1:4,2:2", "children=10-15"}),
                           &port, &err))
        << err;
    EXPECT_EQ(port.phyid, 0x0100320A);
    EXPECT_EQ(port.ss_phyid, 0x06010305);
    EXPECT_EQ(port.lsm_key, 0x06010305);
    EXPECT_EQ(port.node, 0x01003000);
    EXPECT_EQ(port.lsm_user_slot, 3);
    EXPECT_EQ(port.lsm_user_port, 5);
    EXPECT_EQ(port.type, PORT_FC);
    EXPECT_EQ(port.is_parent, 1);
    EXPECT_EQ(port.split_info.split_mode_num, 2);
    EXPECT_EQ(port.split_info.def_split_mode, 1);
    EXPECT_EQ(port.split_info.split_mode_port_num[1], 2);
    EXPECT_EQ(port.split_info.child_port_lport[5], 15);
    EXPECT_FALSE(build_port(words({"dev=1", "slot=3", "lport=5", "unit=1"}), &port, &err));
    EXPECT_EQ(err, "missing cport=");

    chipid_slot_t rec;
    ASSERT_TRUE(build_chipid(words({"dev=2", "slot=3", "ids=40-44", "per_unit=2", "card=100"}),
                             &rec, &err));
    EXPECT_EQ(rec.gslot, 35);
    EXPECT_EQ(rec.status, CHIPID_VALID);
    EXPECT_EQ(rec.id_num, 5);
    EXPECT_EQ(rec.id[4], 44);
    ASSERT_TRUE(build_chipid(words({"gslot=3"}), &rec, &err));
    EXPECT_EQ(rec.status, CHIPID_NONE);
    std::vector<uint8_t> sync = addr_sync(ADDR_LIB_REAL_SYNC, {rec, rec});
    addr_lib_sync_head_t head;
    std::memcpy(&head, sync.data(), sizeof head);
    EXPECT_EQ(head.len, 12 + 2 * 48);
    EXPECT_EQ(static_cast<size_t>(head.len), sync.size());
    EXPECT_EQ(head.data_num, 2);

    std::vector<dm_convert_cfg_t> fc;
    ASSERT_TRUE(build_fc_entries({"slot_lport(1,1,7):fc", "0x06010108:10g"}, &fc, &err));
    std::vector<uint8_t> chunk = fc_chunk(0, 1, fc);
    ASSERT_EQ(chunk.size(), 8u + 16u);
    dm_convert_cfg_t second;
    std::memcpy(&second, chunk.data() + 16, sizeof second);
    EXPECT_EQ(second.phyid, 0x06010108);
    EXPECT_EQ(second.type, PORT_TGIGABIT_ETHERNET);
    EXPECT_FALSE(build_fc_entries({"0x06010108"}, &fc, &err));

    auto pre = std::make_unique<dp_lib_per_inst_info_t>();
    ASSERT_TRUE(build_preinst(words({"1/3/2", "2/1/0"}), pre.get(), &err));
    EXPECT_EQ(pre->len, 2);
    EXPECT_EQ(pre->info[0].sslot, 2);
    EXPECT_FALSE(build_preinst(words({"1/3"}), pre.get(), &err));

    std::vector<uint8_t> msg = dp_message(DP_LIB_MSG_PORT_RMV, DP_LIB_MOD_PD, bytes_of(port.phyid));
    dp_lib_msg_h_t h;
    std::memcpy(&h, msg.data(), sizeof h);
    EXPECT_EQ(h.msgid, DP_LIB_MSG_PORT_RMV);
    EXPECT_EQ(h.len, 4);
    EXPECT_EQ(msg.size(), 20u);
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
    EXPECT_EQ(sum.ports, 16384);
    EXPECT_EQ(sum.cards, 64);
    EXPECT_EQ(sum.chip_ids, 512);
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
        EXPECT_LT(p.chip_portid, 256);
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
    EXPECT_TRUE(m.me.known);
    EXPECT_EQ(m.me.node, dm_node_make(1, 0));
    EXPECT_EQ(m.my_lports.size(), 256u);

    size_t data = 0;
    size_t addr_records = 0;
    for (const GenAction &a : plan) {
        if (a.kind == GenAction::Kind::Data) {
            ++data;
        } else if (a.kind == GenAction::Kind::Addr) {
            addr_lib_sync_head_t head;
            std::memcpy(&head, a.bytes.data(), sizeof head);
            EXPECT_EQ(static_cast<size_t>(head.len), a.bytes.size());
            EXPECT_LE(head.data_num, 64);
            addr_records += static_cast<size_t>(head.data_num);
        }
    }
    EXPECT_EQ(data, 16384u + 1 + 1 + 1);  // ports, chip type, card type, local ports
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
    EXPECT_EQ(sum.chip_ids, 4);
    EXPECT_EQ(m.first_chipid(dm_get_gslot_from_lslot(2, 5, 0), 0),
              33);  // numbering goes on after 32
    EXPECT_EQ(m.me.node, dm_node_make(1, 1));
    EXPECT_EQ(m.ports.at(dm_phyid_make(2, 5, 0, 1)).ifx, 0);

    size_t before = m.ports.size();
    EXPECT_FALSE(
        gen_chassis(words({"slots=9", "chips=4", "ids_per_chip=5"}), m, &plan, &sum, &err));
    EXPECT_FALSE(gen_chassis(words({"devs=3"}), m, &plan, &sum, &err));
    EXPECT_FALSE(gen_chassis(words({"slots=9", "me=1/8"}), m, &plan, &sum, &err));
    EXPECT_FALSE(gen_chassis(words({"slots=9", "chipid=2047"}), m, &plan, &sum, &err));
    EXPECT_EQ(m.ports.size(), before);
    EXPECT_EQ(m.cards.count(dm_node_make(1, 9)), 0u);
}

TEST(DmsimPicture, CardsPortsAndThisCard)
{
    Model m;
    std::vector<GenAction> plan;
    GenSummary sum;
    std::string err;
    ASSERT_TRUE(gen_chassis(words({"slots=1-2", "ports=4", "chips=2"}), m, &plan, &sum, &err));
    m.mgmt_ifx[1][0] = 0x9001;
    std::string pic = draw_chassis(m, PictureOptions{});
    EXPECT_NE(pic.find("Chassis as described: 1 device, 2 cards, 8 ports"), std::string::npos)
        << pic;
    EXPECT_NE(
        pic.find(
            "slot  1   LC-4P        type 100   lc        4 ports  chip IDs 32,33   <- this card"),
        std::string::npos)
        << pic;
    EXPECT_NE(pic.find("management ports: lport 0 ifx 0x00009001 lport 1 -"), std::string::npos)
        << pic;
    EXPECT_NE(pic.find("| 0x00102004 |"), std::string::npos) << pic;
    EXPECT_NE(pic.find("| u1/p2      |"), std::string::npos) << pic;

    PictureOptions one;
    one.slot = 2;
    pic = draw_chassis(m, one);
    EXPECT_EQ(pic.find("0x00101001"), std::string::npos) << pic;
    EXPECT_NE(pic.find("0x00102001"), std::string::npos) << pic;

    Model big;
    ASSERT_TRUE(gen_chassis(words({"slots=1-3", "ports=256", "chips=8"}), big, &plan, &sum, &err));
    pic = draw_chassis(big, PictureOptions{});
    EXPECT_NE(pic.find("(768 ports: show chassis dev=D slot=S draws a card's front panel)"),
              std::string::npos);
    EXPECT_EQ(pic.find("+----"), std::string::npos);
}
