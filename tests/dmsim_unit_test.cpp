// dmsim's expectations, without the library behind them: every scripted
// scenario under tests/dmsim leans on them, so a clause that held whatever
// the value would let every script pass. The scripts cover the rest of dmsim.
#include <gtest/gtest.h>

#include <string>

#include "result.h"

using namespace dmsim;

namespace {

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
