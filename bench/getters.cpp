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
int pinfo_by_ifx(int id, const PortKeys &)
{
    dm_port_t p;
    const int r = dm_get_pinfo_by_ifx(id, &p);
    return r == 0 ? p.phyid : r;
}

int is_on_local_switch(int id, const PortKeys &)
{
    return dm_port_is_on_local_switch(static_cast<unsigned>(id)) ? 1 : 0;
}

int phyid_from_ifx(int id, const PortKeys &)
{
    int phyid = 0;
    const int r = dm_get_phyid_from_ifx(id, &phyid);
    return r == 0 ? phyid : r;
}

int chipid_port_from_phyid(int id, const PortKeys &)
{
    int chipid = 0;
    int port = 0;
    const int r = dm_get_chipid_port_from_phyid(id, &chipid, &port);
    return r == 0 ? chipid * 256 + port : r;
}

int pinfo_by_phyid(int id, const PortKeys &)
{
    dm_port_t p;
    const int r = dm_get_pinfo_by_phyid(id, &p);
    return r == 0 ? p.phyid : r;
}

int subcard_node_by_phyid(int id, const PortKeys &)
{
    int node = 0;
    const int r = dm_get_subcard_node_by_phyid(id, &node);
    return r == 0 ? node : r;
}

int ifindex_from_phyid(int id, const PortKeys &)
{
    int ifx = 0;
    const int r = dm_get_ifindex_from_phyid(id, &ifx);
    return r == 0 ? ifx : r;
}

int unit_port_from_phyid(int id, const PortKeys &)
{
    int unit = 0;
    int port = 0;
    const int r = dm_get_unit_port_from_phyid(id, &unit, &port);
    return r == 0 ? unit * 256 + port : r;
}

int node_lport_from_phyid(int id, const PortKeys &)
{
    int node = 0;
    int lport = 0;
    const int r = dm_get_node_lport_from_phyid(id, &node, &lport);
    return r == 0 ? node + lport : r;
}

int sub_node_from_port_phyid(int id, const PortKeys &)
{
    int node = 0;
    const int r = dm_get_sub_node_from_port_phyid(id, &node);
    return r == 0 ? node : r;
}

int port_medium_switch(int id, const PortKeys &)
{
    bool sw = true;
    const int r = dm_get_port_medium_switch(id, &sw);
    return r == 0 ? (sw ? 1 : 0) : r;
}

int port_medium_type(int id, const PortKeys &)
{
    int type = 0;
    const int r = dm_get_port_medium_type(id, &type);
    return r == 0 ? type : r;
}

int port_type(int id, const PortKeys &)
{
    int type = 0;
    const int r = dm_get_port_type(id, &type);
    return r == 0 ? type : r;
}

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

}  // namespace

const std::vector<Getter> &getters()
{
    static const std::vector<Getter> all = {
        {"dm_get_pinfo_by_ifx", Input::ifx, pinfo_by_ifx, false, false},
        {"dm_port_is_on_local_switch", Input::ifx, is_on_local_switch, false, false},
        {"dm_get_phyid_from_ifx", Input::ifx, phyid_from_ifx, true, false},
        {"dm_get_chipid_port_from_phyid", Input::phyid, chipid_port_from_phyid, true, false},
        {"dm_get_pinfo_by_phyid", Input::phyid, pinfo_by_phyid, false, false},
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
