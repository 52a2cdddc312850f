// The exported port getters the benchmarks time, each with the floor it is
// measured against: the record lookups it must make (a bare
// tfind, a 124-byte copy and the port and index read-lock pairs each), plus
// the chip-ID table's lookup where its form needs one.
#include <dm_lib_pd/dm_ids.h>
#include <dm_lib_pd/dm_port_lookup.h>

#include <cstring>

#include "chassis.h"

namespace dmbench {

namespace {

// Each call folds the getter's result with its outputs, so that nothing of
// the work is optimised away and a wrong answer shows in a check.
int folded(int v) { return v; }
int folded(bool v) { return v ? 1 : 0; }
int folded(const dm_port_t &p) { return p.phyid; }

// A getter of one output: the output, folded, or the getter's error.
template <class Id, class Out>
int one_out(int (*get)(Id, Out *), int id)
{
    Out out{};
    const int r = get(id, &out);
    return r == 0 ? folded(out) : r;
}

// A getter of two outputs: fold(a, b), or the getter's error.
int two_out(int (*get)(int, int *, int *), int id, int (*fold)(int, int))
{
    int a = 0;
    int b = 0;
    const int r = get(id, &a, &b);
    return r == 0 ? fold(a, b) : r;
}

int pair(int hi, int lo) { return hi * 256 + lo; }
int sum(int a, int b) { return a + b; }

int pinfo_by_ifx(int id, const PortKeys &) { return one_out(dm_get_pinfo_by_ifx, id); }
int is_on_local_switch(int id, const PortKeys &)
{
    return dm_port_is_on_local_switch(static_cast<unsigned>(id)) ? 1 : 0;
}
int phyid_from_ifx(int id, const PortKeys &) { return one_out(dm_get_phyid_from_ifx, id); }
int chipid_port_from_phyid(int id, const PortKeys &)
{
    return two_out(dm_get_chipid_port_from_phyid, id, pair);
}
int pinfo_by_phyid(int id, const PortKeys &) { return one_out(dm_get_pinfo_by_phyid, id); }
int subcard_node_by_phyid(int id, const PortKeys &)
{
    return one_out(dm_get_subcard_node_by_phyid, id);
}
int ifindex_from_phyid(int id, const PortKeys &) { return one_out(dm_get_ifindex_from_phyid, id); }
int unit_port_from_phyid(int id, const PortKeys &)
{
    return two_out(dm_get_unit_port_from_phyid, id, pair);
}
int node_lport_from_phyid(int id, const PortKeys &)
{
    return two_out(dm_get_node_lport_from_phyid, id, sum);
}
int sub_node_from_port_phyid(int id, const PortKeys &)
{
    return one_out(dm_get_sub_node_from_port_phyid, id);
}
int port_medium_switch(int id, const PortKeys &) { return one_out(dm_get_port_medium_switch, id); }
int port_medium_type(int id, const PortKeys &) { return one_out(dm_get_port_medium_type, id); }
int port_type(int id, const PortKeys &) { return one_out(dm_get_port_type, id); }

int is_on_local_device(int id, const PortKeys &) { return dm_port_is_on_local_device(id) ? 1 : 0; }

int phyid_by_slot_unit_port(int, const PortKeys &k)
{
    int phyid = 0;
    const int r = dm_get_phyid_by_slot_unit_port(k.devid, k.slot, k.unit, k.cport, &phyid);
    return r == 0 ? phyid : r;
}

int phyid_by_slot_lport(int, const PortKeys &k)
{
    int phyid = 0;
    const int r = dm_get_phyid_by_slot_lport(k.devid, k.slot, k.lport, &phyid);
    return r == 0 ? phyid : r;
}

// The reduced record, as a user would fill it from the copy (kept in memory,
// as the getter's caller's is).
void floor_reduce(const dp_lib_port_t &rec, dm_port_t *out)
{
    out->ifx = rec.ifx;
    out->phyid = rec.ss_phyid;
    out->node = rec.node;
    out->devid = rec.devid;
    out->slotid = rec.slotid;
    out->subslotid = rec.subslotid;
    out->portid = rec.portid;
    out->g_chipid = rec.g_chipid;
    out->l_chipid = rec.l_chipid;
    out->chip_portid = rec.chip_portid;
    asm volatile("" : : "r"(out) : "memory");
}

}  // namespace

const std::vector<Getter> &getters()
{
    static const std::vector<Getter> all = {
        {"dm_get_pinfo_by_ifx", Input::ifx, pinfo_by_ifx, false, false, true},
        {"dm_port_is_on_local_switch", Input::ifx, is_on_local_switch, false, false},
        {"dm_get_phyid_from_ifx", Input::ifx, phyid_from_ifx, true, false},
        {"dm_get_chipid_port_from_phyid", Input::phyid, chipid_port_from_phyid, true, false},
        {"dm_get_pinfo_by_phyid", Input::phyid, pinfo_by_phyid, false, false, true},
        {"dm_get_subcard_node_by_phyid", Input::phyid, subcard_node_by_phyid, false, false},
        {"dm_get_ifindex_from_phyid", Input::phyid, ifindex_from_phyid, false, true},
        {"dm_get_unit_port_from_phyid", Input::phyid, unit_port_from_phyid, false, false},
        {"dm_get_node_lport_from_phyid", Input::phyid, node_lport_from_phyid, false, false},
        {"dm_get_sub_node_from_port_phyid", Input::phyid, sub_node_from_port_phyid, false, false},
        {"dm_get_port_medium_switch", Input::phyid, port_medium_switch, false, false},
        {"dm_get_port_medium_type", Input::phyid, port_medium_type, false, false},
        {"dm_get_port_type", Input::phyid, port_type, false, false},
        {"dm_port_is_on_local_device", Input::phyid, is_on_local_device, false, false},
        {"dm_get_phyid_by_slot_unit_port", Input::slot_unit_port, phyid_by_slot_unit_port, true,
         false},
        {"dm_get_phyid_by_slot_lport", Input::slot_lport, phyid_by_slot_lport, true, false},
    };
    return all;
}

const Getter &getter(const char *name)
{
    for (const Getter &g : getters()) {
        if (std::strcmp(g.name, name) == 0) {
            return g;
        }
    }
    return getters().front();
}

std::vector<Form> forms_of(const Getter &g)
{
    switch (g.input) {
    case Input::ifx:
        return {Form::ifx};
    case Input::phyid:
        // Form 7 goes through the chip-ID allocation first; it is timed for
        // the getter that hands out whole records.
        if (g.call == pinfo_by_phyid) {
            return {Form::slot_lport, Form::unit_port, Form::mod_port};
        }
        return {Form::slot_lport, Form::unit_port};
    default:
        return {Form::numbers};
    }
}

const char *form_name(Form f)
{
    switch (f) {
    case Form::ifx:
        return "ifx";
    case Form::slot_lport:
        return "form6";
    case Form::mod_port:
        return "form7";
    case Form::unit_port:
        return "form8";
    default:
        return "numbers";
    }
}

int id_of(const PortKeys &k, Form f)
{
    switch (f) {
    case Form::ifx:
        return k.ifx;
    case Form::slot_lport:
        return k.slot_lport;
    case Form::mod_port:
        return k.mod_port;
    case Form::unit_port:
        return k.unit_port;
    default:
        return 0;
    }
}

int floor_call(const Getter &g, Form f, const PortKeys &k, FloorTable &t, FloorChips &c)
{
    dp_lib_port_t copy;
    bool hit = false;
    switch (g.input) {
    case Input::ifx:
        hit = floor_lookup(t, t.by_ifx, k.ifx, &copy);
        break;
    case Input::slot_lport:
        hit = floor_lookup(t, t.by_ss_phyid, k.slot_lport, &copy);
        break;
    case Input::slot_unit_port:
        hit = floor_lookup(t, t.by_phyid, k.dm_phyid, &copy);
        break;
    case Input::phyid:
        if (f == Form::slot_lport) {
            hit = floor_lookup(t, t.by_ss_phyid, k.slot_lport, &copy);
        } else if (f == Form::unit_port) {
            hit = floor_lookup(t, t.by_phyid, k.dm_phyid, &copy);
        } else {
            int node = 0;
            int unit = 0;
            hit =
                c.node_unit(dm_mod_port_chipid(k.mod_port), &node, &unit) &&
                floor_lookup(t, t.by_phyid, dm_phyid_from_node_unit(node, unit, k.mod_port), &copy);
        }
        break;
    }
    if (!hit) {
        return -1;
    }
    int folded = copy.ss_phyid;
    if (g.reduced) {
        dm_port_t out;
        floor_reduce(copy, &out);
        folded = out.phyid;
    }
    if (g.chip_lookup) {
        folded += c.first_chipid(copy.l_chipid, copy.node);
    }
    if (g.ifx_lookup) {
        dp_lib_port_t holder;
        folded += floor_lookup(t, t.by_ifx, copy.ifx, &holder) ? holder.ifx : 0;
    }
    return folded;
}

}  // namespace dmbench
