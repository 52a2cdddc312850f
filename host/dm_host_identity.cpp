// The host's answers about the identity of this card and of the other cards
// of the chassis, from tables the control calls fill.
#include <dm_lib_pd/dm_ids.h>

#include <atomic>

#include "dm_host_ctl.h"
#include "dm_host_internal.h"

namespace {

constexpr int kNone = -1;  // what a question about an unknown card answers

struct card {
    int node;
    int phy_type;
    int cfg_type;
    int node_type;
};

// This card. Before it is set the host knows no node, device or slot (0)
// and no card type.
struct my_card {
    bool set;
    bool type_fails;
    int node;
    int lslotid;
    int card_type;
    int node_type;
};

// Guards mine and cards.
pthread_mutex_t id_lock = PTHREAD_MUTEX_INITIALIZER;
my_card mine;
dm_host::table<card> cards;
// This card's node and logical slot, also kept apart as plain atomics: every
// process's port getters ask for them, from many threads at once, and a
// shared lock there would be what limits them.
std::atomic<int> my_node{0};
std::atomic<int> my_lslotid{0};

my_card my_card_copy()
{
    dm_host::mutex_guard g(id_lock);
    return mine;
}

// The card at `node`: a card set for that node, else this card when the node
// is its own (a host always knows its own card), else false.
bool card_at(int node, card *out)
{
    dm_host::mutex_guard g(id_lock);
    if (const card *c = cards.find([&](const card &k) { return k.node == node; })) {
        *out = *c;
        return true;
    }
    if (mine.set && mine.node == node) {
        *out = card{node, mine.card_type, mine.card_type, mine.node_type};
        return true;
    }
    return false;
}

int node_of(int dev, int slot, int sslot)
{
    return dm_node_make(dev, slot) | static_cast<int>((DM_U32(sslot) << 18) & 0xFC0000u);
}

}  // namespace

extern "C" {

int dm_get_my_node(void) { return my_node.load(std::memory_order_acquire); }

int dm_get_my_devid(void) { return dm_node_devid(my_node.load(std::memory_order_acquire)); }

int dm_get_my_lslotid(void) { return my_lslotid.load(std::memory_order_acquire); }

int dm_get_my_card_type(int *card_type)
{
    const my_card m = my_card_copy();
    if (card_type == nullptr || !m.set || m.type_fails) {
        return -1;
    }
    *card_type = m.card_type;
    return 0;
}

int dm_get_my_node_type(void)
{
    const my_card m = my_card_copy();
    return m.set ? m.node_type : DM_TYPE_UNKNOWN;
}

int dm_get_node_type(int node)
{
    card c;
    return card_at(node, &c) ? c.node_type : kNone;
}

int dm_get_dev_phy_type(int dev, int slot, int sslot)
{
    return dm_get_dev_phy_type_by_node(node_of(dev, slot, sslot));
}

int dm_get_dev_phy_type_by_node(int node)
{
    card c;
    return card_at(node, &c) ? c.phy_type : kNone;
}

int dm_get_dev_cfg_type_by_node(int node)
{
    card c;
    return card_at(node, &c) ? c.cfg_type : kNone;
}

// The slot may be a plain slot number or in gslot form: the sub-slot is read
// from bits 14..10 and the slot from bits 4..0; the device is always this one.
int dm_get_local_card_type_by_lslotid(int lslot)
{
    const int node =
        node_of(dm_get_my_devid(), dm_get_lslot_from_gslot(lslot), dm_get_sslot_from_gslot(lslot));
    return dm_get_dev_phy_type_by_node(node);
}

// ---- control ------------------------------------------------------------------

void dm_host_set_my_card(int node, int lslotid, int card_type, int node_type)
{
    dm_host::mutex_guard g(id_lock);
    const bool fails = mine.type_fails;
    mine = my_card{true, fails, node, lslotid, card_type, node_type};
    my_node.store(node, std::memory_order_release);
    my_lslotid.store(lslotid, std::memory_order_release);
}

void dm_host_set_my_card_type_fails(bool fails)
{
    dm_host::mutex_guard g(id_lock);
    mine.type_fails = fails;
}

void dm_host_set_card(int node, int phy_type, int cfg_type, int node_type)
{
    dm_host::mutex_guard g(id_lock);
    const card c{node, phy_type, cfg_type, node_type};
    if (card *k = cards.find([&](const card &x) { return x.node == node; })) {
        *k = c;
        return;
    }
    cards.push(c);
}

void dm_host_remove_card(int node)
{
    dm_host::mutex_guard g(id_lock);
    cards.erase_first([&](const card &x) { return x.node == node; });
}

}  // extern "C"
