// The call table: every function the library exports, by name, with its
// parameter decls; the adapter (call_adapter.h) calls it.
#include "calls.h"

#include <dm_lib_pd/dm_lib_pd.h>

#include "call_adapter.h"

namespace dmsim {

namespace {

std::vector<void *> &symbols()
{
    static std::vector<void *> syms;
    return syms;
}

}  // namespace

const std::vector<CallEntry> &call_table()
{
    static const std::vector<CallEntry> table = {
        // Event and RPC handler registration.
        DM_CALL(dm_reg_dev_event_handler_pd, "event", "ret", "func"),
        DM_CALL(dm_reg_dev_rpc_handler_pd, "event", "ret", "func"),
        // Port lookups.
        DM_CALL(dm_get_pinfo_by_ifx, "port", "ret", "ifx", "pinfo"),
        DM_CALL(dm_port_is_on_local_switch, "port", "ret", "ifindex"),
        DM_CALL(dm_get_phyid_from_ifx, "port", "ret", "ifx", "phyid"),
        DM_CALL(dm_get_chipid_port_from_phyid, "port", "ret", "phyid", "chipid", "port"),
        DM_CALL(dm_get_pinfo_by_phyid, "port", "ret", "phyid", "pinfo"),
        DM_CALL(dm_get_subcard_node_by_phyid, "port", "ret", "phyid", "subcard_node"),
        DM_CALL(dm_get_ifindex_from_phyid, "port", "ret", "phyid", "ifindex"),
        DM_CALL(dm_get_unit_port_from_phyid, "port", "ret", "phyid", "unit", "port"),
        DM_CALL(dm_get_node_lport_from_phyid, "port", "ret", "phyid", "node", "lport"),
        DM_CALL(dm_get_sub_node_from_port_phyid, "port", "ret", "port_phyid", "node"),
        DM_CALL(dm_get_port_medium_switch, "port", "ret", "phyid", "medium_switch"),
        DM_CALL(dm_get_port_medium_type, "port", "ret", "phyid", "medium_type"),
        DM_CALL(dm_get_port_type, "port", "ret", "phyid", "eth_type"),
        DM_CALL(dm_port_is_on_local_device, "port", "ret", "phyid"),
        DM_CALL(dm_get_card_port_num, "port", "ret", "node"),
        DM_CALL(dm_get_phyid_by_slot_unit_port, "port", "ret", "devid", "slot", "unit", "port",
                "phyid"),
        DM_CALL(dm_get_phyid_by_slot_lport, "port", "ret", "devid", "slot", "lport", "phyid"),
        DM_CALL(dm_is_llcb_type_support, "port", "ret", "llcb_type"),
        // Split ports.
        DM_CALL(dm_local_get_child_unit_port_by_spe_mode, "split", "ret", "lport", "mode", "unit",
                "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_local_get_child_unit_port_from_lport, "split", "ret", "lport", "unit",
                "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_local_get_child_unit_port_with_all_mode, "split", "ret", "lport", "unit",
                "mode_id[4/ret]", "child_port[32/+port_num]", "port_num[4/ret]"),
        DM_CALL(dm_get_child_unit_port_by_spe_mode, "split", "ret", "node", "lport", "mode", "unit",
                "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_get_child_unit_port_from_node_lport, "split", "ret", "node", "lport", "unit",
                "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_get_child_unit_port_with_all_mode, "split", "ret", "node", "lport", "unit",
                "mode_id[4/ret]", "port_num[4/ret]", "child_port[32/+port_num]"),
        DM_CALL(dm_get_child_unit_port_by_spe_mode_gms, "split", "ret", "node", "lport", "mode",
                "unit", "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_get_child_unit_port_from_node_lport_gms, "split", "ret", "node", "lport", "unit",
                "child_port[32/child_port_num]", "child_port_num"),
        DM_CALL(dm_get_child_unit_port_with_all_mode_gms, "split", "ret", "node", "lport", "unit",
                "mode_id[4/ret]", "port_num[4/ret]", "child_port[32/+port_num]"),
        // Management ports.
        DM_CALL(dm_get_devid_from_phy_mgmt_ifx, "mgmt", "ret", "ifx"),
        DM_CALL(dm_get_devid_lport_from_phy_mgmt_ifx, "mgmt", "ret", "ifx", "devid", "lport"),
        DM_CALL(dm_phyid_is_phy_mgmt_phyid, "mgmt", "ret", "phyid"),
        DM_CALL(dm_get_node_from_phy_mgmt_phyid, "mgmt", "node", "phyid"),
        DM_CALL(dm_get_phy_mgmt_phyid_from_dev_slot, "mgmt", "phyid", "dev_id", "slot_id"),
        DM_CALL(dm_get_phy_mgmt_phyid_from_dev_slot_lport, "mgmt", "phyid", "dev_id", "slot_id",
                "lport"),
        DM_CALL(dm_get_dev_slot_from_phy_mgmt_phyid, "mgmt", "ret", "phyid", "dev_id", "slot_id"),
        DM_CALL(dm_get_dev_slot_lport_from_phy_mgmt_phyid, "mgmt", "ret", "phyid", "dev_id",
                "slot_id", "lport"),
        DM_CALL(dm_get_phyid_list_from_phy_mgmt_ifx, "mgmt", "ret", "ifx", "phyid[4/num]", "num=4"),
        DM_CALL(dm_get_phyid_from_phy_mgmt_ifx, "mgmt", "ret", "ifx", "phyid[4/num]", "num=4"),
        DM_CALL(dm_lib_show_phy_mgmt_ifx, "mgmt", "ret", "dev_id"),
        DM_CALL(dm_lib_show_all_phy_mgmt_ifx, "mgmt", "ret"),
        DM_CALL(dm_lib_test_phy_mgmt_ifx_intf, "mgmt", "ret"),
        DM_CALL(utest_dm_get_phyid, "mgmt", "ret", "ifx"),
        // Pre-installed cards.
        DM_CALL(dm_get_pre_inst_by_phyid, "pre_inst", "ret", "phyid", "is_pre_inst"),
        // Card and slot port numbers.
        DM_CALL(dm_get_min_port_num, "port_num", "ret", "devno", "slotid", "min_port"),
        DM_CALL(dm_get_max_port_num, "port_num", "ret", "devno", "slotid", "max_port"),
        DM_CALL(dm_get_local_card_max_port, "port_num", "ret", "slot", "sub_slot", "max_port"),
        DM_CALL(dm_local_check_slot_lport, "port_num", "ret", "slot", "lport"),
        DM_CALL(dm_get_dev_type_from_port_phyid, "port_num", "ret", "port_phyid", "lc_type"),
        DM_CALL(dm_get_poe_support_by_phyid, "port_num", "ret", "phyid", "poe_support"),
        DM_CALL(dm_get_chip_cmic_port, "port_num", "ret", "chipid"),
        // Card types.
        DM_CALL(dm_lib_get_card_cfg_by_type, "card_cfg", "ret", "type", "pinfo"),
        DM_CALL(dm_get_card_port_num_by_type, "card_cfg", "ret", "type"),
        DM_CALL(dm_get_switch_chip_num_by_card_type, "card_cfg", "ret", "card_type"),
        DM_CALL(dm_get_poe_support_by_card_type, "card_cfg", "ret", "card_type", "poe_support"),
        DM_CALL(dm_get_poe_support_port, "card_cfg", "ret", "card_type", "port[256/port_num]",
                "port_num=256"),
        DM_CALL(dm_get_chip_type_by_card_type, "card_cfg", "ret", "card_type", "chip_type[8/8]",
                "chip_num"),
        DM_CALL(dm_get_card_name_by_type, "card_cfg", "ret", "card_type", "name[len]", "len=32"),
        DM_CALL(dm_get_max_port_by_unit, "card_cfg", "ret", "unit"),
        DM_CALL(dm_get_my_lchips, "card_cfg", "ret", "units[8/8]"),
        // Chip types.
        DM_CALL(dm_get_chip_family, "chip_cfg", "ret", "type"),
        DM_CALL(dm_get_chip_cmic_port_by_type, "chip_cfg", "ret", "type"),
        DM_CALL(dm_get_lchip_family_by_unit, "chip_cfg", "ret", "unit"),
        DM_CALL(dm_get_invalid_port, "chip_cfg", "ret", "unit"),
        DM_CALL(dm_get_port_bmp_from_chipid, "chip_cfg", "ret", "chipid",
                "port_phyids[256/port_num]", "port_num"),
        // This card's local ports.
        DM_CALL(dm_get_my_lport_num, "local_port", "ret"),
        DM_CALL(dm_get_my_lport_num_by_sub_slot, "local_port", "ret", "sub_slot", "port_num"),
        DM_CALL(dm_get_my_card_multi_lport, "local_port", "ret", "lport[256/num]", "num=256"),
        DM_CALL(dm_local_get_slot_lport_from_unit_port, "local_port", "ret", "unit", "port", "slot",
                "lport"),
        DM_CALL(dm_local_get_unit_port_from_slot_lport, "local_port", "ret", "slot", "lport",
                "unit", "port"),
        DM_CALL(dm_local_get_pinfo_by_lport_phyid, "local_port", "ret", "lport_phyid", "info"),
        DM_CALL(dm_show_all_local_port, "local_port", "ret"),
        // Local phyids.
        DM_CALL(dm_phyid_is_global, "lphyid", "ret", "phyid", "is_global"),
        DM_CALL(dm_get_lphyid_from_phyid, "lphyid", "lphyid", "phyid"),
        DM_CALL(dm_get_phyid_from_lphyid, "lphyid", "phyid", "lphyid"),
        DM_CALL(dm_get_lphyid_from_unit_port, "lphyid", "lphyid", "unit", "port"),
        DM_CALL(dm_get_unit_port_from_lphyid, "lphyid", "ret", "lphyid", "unit", "port"),
        DM_CALL(dm_local_get_pinfo_by_lphyid, "lphyid", "ret", "lphyid", "info"),
        // Chip-ID allocation.
        DM_CALL(dm_get_alloced_chipid, "chipid", "ret", "chipid_array[2048/chipid_num]",
                "chipid_num=2048"),
        DM_CALL(dm_get_first_chipid_from_node, "chipid", "ret", "node", "chipid"),
        DM_CALL(dm_get_first_chipid_from_unit_node, "chipid", "ret", "unit", "node", "chipid"),
        DM_CALL(dm_get_first_chipid_from_local_unit, "chipid", "ret", "unit", "chipid"),
        DM_CALL(dm_get_chipid_range_by_node, "chipid", "ret", "node", "chipid[16/chipid_num]",
                "chipid_num=16"),
        DM_CALL(dm_get_chipid_from_unit_node, "chipid", "ret", "unit", "node",
                "chipid[16/chipid_num]", "chipid_num=16"),
        DM_CALL(dm_get_node_unit_from_chipid, "chipid", "ret", "chipid", "node", "unit"),
        DM_CALL(dm_is_local_chipid, "chipid", "ret", "chipid"),
        DM_CALL(dm_get_chipid_range_by_dev, "chipid", "ret", "devid", "chipid[2048/chipid_num]",
                "chipid_num"),
        DM_CALL(dm_get_system_invalid_chipid, "chipid", "ret"),
        DM_CALL(dm_get_system_reserved_chipid_range, "chipid", "ret", "lower", "upper"),
        DM_CALL(dm_get_zone_reserved_chipid_range, "chipid", "ret", "lower", "upper"),
        // Fixed chip IDs and system ports.
        DM_CALL(dm_get_dune_static_chipid, "chipid", "ret", "dev", "slot", "unit"),
        DM_CALL(dm_get_dev_slot_unit_by_dune_chipid, "chipid", "ret", "chipid", "dev", "slot",
                "unit"),
        DM_CALL(dm_get_sysport_from_dev_slot_unit_port, "chipid", "ret", "dev", "slot", "unit",
                "port", "sysport"),
        DM_CALL(dm_get_dev_slot_unit_port_from_sysport, "chipid", "ret", "sysport", "dev", "slot",
                "unit", "port"),
        // Port conversions.
        DM_CALL(dm_get_fc_startup_cfg, "fc", "ret", "cfg[0/num]", "num"),
        DM_CALL(dm_get_fc_save_cfg, "fc", "ret", "cfg[0/num]", "num"),
    };
    return table;
}

const CallEntry *find_call(const std::string &name)
{
    for (const CallEntry &e : call_table()) {
        if (name == e.name) {
            return &e;
        }
    }
    return nullptr;
}

std::string call_usage(const CallEntry &e) { return e.usage(e); }

void set_call_handlers(void *event_handler, void *rpc_handler)
{
    call_adapter::set_app_handlers(event_handler, rpc_handler);
}

std::vector<std::string> resolve_calls(void *(*resolve)(const char *name, void *ctx), void *ctx)
{
    std::vector<std::string> missing;
    const auto &table = call_table();
    symbols().assign(table.size(), nullptr);
    for (size_t i = 0; i < table.size(); ++i) {
        symbols()[i] = resolve(table[i].name, ctx);
        if (symbols()[i] == nullptr) {
            missing.push_back(table[i].name);
        }
    }
    return missing;
}

void *call_symbol(const CallEntry &e)
{
    const auto &table = call_table();
    size_t i = static_cast<size_t>(&e - table.data());
    return i < symbols().size() ? symbols()[i] : nullptr;
}

bool run_call(const CallEntry &e, const Args &args, Result *out, std::string *err)
{
    void *sym = call_symbol(e);
    if (sym == nullptr) {
        *err = std::string(e.name) + " is not exported by the loaded library";
        return false;
    }
    return run_call_at(sym, e, args, out, err);
}

bool run_call_at(void *sym, const CallEntry &e, const Args &args, Result *out, std::string *err)
{
    return e.invoke(sym, e, args, out, err);
}

}  // namespace dmsim
