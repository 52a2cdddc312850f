// The data-plane master's messages and the records every stand-in builds.
#include "dm_standin.h"

#include <algorithm>

#include <dm_lib_pd/dm_ids.h>

namespace dmstandin {

void append(Bytes &b, const void *data, size_t n)
{
    if (n > 0) {
        const size_t at = b.size();
        b.resize(at + n);
        std::memcpy(b.data() + at, data, n);
    }
}

void put_message(unsigned char *at, int msgid, int module, const void *payload, int len)
{
    const dp_lib_msg_h_t head = {0, msgid, module, len};
    std::memcpy(at, &head, sizeof head);
    if (len > 0) {
        std::memcpy(at + sizeof head, payload, static_cast<size_t>(len));
    }
}

Bytes dp_message(int msgid, int module, const Bytes &payload)
{
    Bytes b(sizeof(dp_lib_msg_h_t) + payload.size());
    put_message(b.data(), msgid, module, payload.data(), static_cast<int>(payload.size()));
    return b;
}

Bytes lport_payload(const std::vector<dp_lib_lport_t> &lports, int count)
{
    const int32_t n = count;
    Bytes b = bytes_of(n);
    b.resize(DP_LIB_MY_LPORT_HEAD_LEN);
    append(b, lports.data(), lports.size() * sizeof(dp_lib_lport_t));
    return b;
}

Bytes fc_chunk(int cfg_min, int cfg_max, const std::vector<dm_convert_cfg_t> &entries)
{
    Bytes b = bytes_of(dp_lib_fc_cfg_info_t{cfg_min, cfg_max});
    append(b, entries.data(), entries.size() * sizeof(dm_convert_cfg_t));
    return b;
}

Bytes addr_sync(int type, const std::vector<chipid_slot_t> &slots)
{
    addr_lib_sync_head_t head = {};
    head.type = type;
    head.data_num = static_cast<int32_t>(slots.size());
    head.len = static_cast<int32_t>(sizeof head + slots.size() * sizeof(chipid_slot_t));
    Bytes b = bytes_of(head);
    append(b, slots.data(), slots.size() * sizeof(chipid_slot_t));
    return b;
}

chipid_slot_t chipid_slot(int gslot, const std::vector<int> &ids, int per_unit, int card_type)
{
    chipid_slot_t s = {};
    s.status = CHIPID_VALID;
    s.gslot = gslot;
    s.card_type = card_type;
    s.idnum_per_unit = static_cast<uint16_t>(per_unit);
    s.id_num = static_cast<uint16_t>(std::min<size_t>(ids.size(), CHIPID_SLOT_ID_MAX));
    std::copy_n(ids.begin(), s.id_num, s.id);
    return s;
}

dp_lib_port_t port_record(int dev, int slot, int unit, int cport, int lport)
{
    dp_lib_port_t p = {};
    p.phyid = dm_phyid_make(dev, slot, unit, cport);
    p.ss_phyid = dm_slot_lport_phyid(dev, slot, lport);
    p.node = dm_node_make(dev, slot);
    p.devid = dev;
    p.slotid = slot;
    p.portid = lport;
    p.l_chipid = unit;
    p.chip_portid = cport;
    return p;
}

dp_lib_card_type_info_t card_type_record(int type)
{
    dp_lib_card_type_info_t c = {};
    c.card_type = type;
    std::fill(std::begin(c.lport_unit), std::end(c.lport_unit), -1);
    std::fill(std::begin(c.chip_port), std::end(c.chip_port), -1);
    return c;
}

}  // namespace dmstandin
