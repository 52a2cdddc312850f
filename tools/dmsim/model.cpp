// The chassis as described: how each message or host call changes it.
#include "model.h"

#include <algorithm>

namespace dmsim {

void Model::apply_card(const Card &c) { cards[c.node] = c; }

void Model::apply_port(const dp_lib_port_t &p) { ports[p.phyid] = p; }

void Model::apply_ifx(int dm_phyid, int ifx)
{
    auto it = ports.find(dm_phyid);
    if (it == ports.end()) {
        return;
    }
    // The interface index moves: a port that held it loses it.
    if (ifx != 0) {
        for (auto &kv : ports) {
            if (kv.second.ifx == ifx && kv.first != dm_phyid) {
                kv.second.ifx = 0;
            }
        }
    }
    it->second.ifx = ifx;
}

void Model::apply_rmv(int dm_phyid) { ports.erase(dm_phyid); }

void Model::apply_chipid(const chipid_slot_t &rec)
{
    if (rec.gslot < 0 || rec.gslot > 63) {
        return;
    }
    if (rec.status == CHIPID_VALID) {
        chipids[rec.gslot] = rec;
    } else if (rec.status == CHIPID_NONE) {
        chipids.erase(rec.gslot);
    }
}

std::vector<const dp_lib_port_t *> Model::ports_of(int devid, int slot) const
{
    std::vector<const dp_lib_port_t *> out;
    for (const auto &kv : ports) {
        if (kv.second.devid == devid && kv.second.slotid == slot) {
            out.push_back(&kv.second);
        }
    }
    std::sort(out.begin(), out.end(), [](const dp_lib_port_t *a, const dp_lib_port_t *b) {
        return a->portid != b->portid ? a->portid < b->portid : a->phyid < b->phyid;
    });
    return out;
}

int Model::first_chipid(int gslot, int unit) const
{
    auto it = chipids.find(gslot);
    if (it == chipids.end() || it->second.idnum_per_unit == 0) {
        return -1;
    }
    const chipid_slot_t &r = it->second;
    int at = unit * r.idnum_per_unit;
    if (unit < 0 || at >= r.id_num || at >= CHIPID_SLOT_ID_MAX) {
        return -1;
    }
    return r.id[at];
}

}  // namespace dmsim
