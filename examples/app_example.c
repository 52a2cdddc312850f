/*
 * app_example.c - a small application of dm_lib_pd.
 *
 * It registers its event and RPC handlers, waits for the chip-ID allocation
 * events, and prints the identifiers of one port. On a switch the host
 * library and the data-plane master feed the library; here the host
 * stand-in's control calls play their part (the block marked "host side").
 */
#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <dm_lib_pd/dm_lib_pd.h>

#include "dm_host_ctl.h"

static pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_cv = PTHREAD_COND_INITIALIZER;
static int g_alloc_events;

/* Runs on the library's event thread, one event at a time. */
static int on_event(dev_msg_t *msg)
{
    if (msg->msg_id == DEV_MSG_CHIPIP_ALLOC && msg->data_len == (int)sizeof(dm_chipid_alloc_t)) {
        dm_chipid_alloc_t a;
        memcpy(&a, dev_msg_data(msg), sizeof a);
        printf("event: chip ID %d allocated to node 0x%08x unit %d\n", a.chipid, a.node, a.unit);
        pthread_mutex_lock(&g_mu);
        ++g_alloc_events;
        pthread_cond_signal(&g_cv);
        pthread_mutex_unlock(&g_mu);
    }
    return 0;
}

/* Answers the port-validity question: every port is valid here. */
static int on_rpc(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len)
{
    (void)msg;
    (void)ret_buf;
    (void)buf_len;
    *ret_len = 0;
    return 0;
}

static int wait_for_events(int n)
{
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 5;
    pthread_mutex_lock(&g_mu);
    while (g_alloc_events < n) {
        if (pthread_cond_timedwait(&g_cv, &g_mu, &until) != 0) {
            break;
        }
    }
    int got = g_alloc_events;
    pthread_mutex_unlock(&g_mu);
    return got;
}

/* ---- host side: what the host library and the data-plane master send ---- */
static void feed_chassis(void)
{
    const int node = dm_node_make(1, 3); /* device 1, slot 3 */
    dm_host_set_my_card(node, dm_get_gslot_from_lslot(1, 3, 0), 100, DM_TYPE_LC);
    dm_host_set_card(node, 100, 100, DM_TYPE_LC);

    dp_lib_port_t port;
    memset(&port, 0, sizeof port);
    port.ifx = 0x1001;
    port.phyid = dm_phyid_make(1, 3, 1, 10);
    port.ss_phyid = dm_slot_lport_phyid(1, 3, 5);
    port.node = node;
    port.devid = 1;
    port.slotid = 3;
    port.portid = 5;
    port.l_chipid = 1;
    port.chip_portid = 10;
    port.type = PORT_TGIGABIT_ETHERNET;
    port.lsm_key = 77;
    dm_host_send_msg(DP_LIB_MSG_PORT_INFO, &port, sizeof port);

    /* The address manager gives slot 3 chip IDs 40 (unit 0) and 41 (unit 1). */
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } sync;
    memset(&sync, 0, sizeof sync);
    sync.head.len = sizeof sync;
    sync.head.type = ADDR_LIB_BS_SYNC;
    sync.head.data_num = 1;
    sync.slot.status = CHIPID_VALID;
    sync.slot.gslot = dm_get_gslot_from_lslot(1, 3, 0);
    sync.slot.card_type = 100;
    sync.slot.idnum_per_unit = 1;
    sync.slot.id_num = 2;
    sync.slot.id[0] = 40;
    sync.slot.id[1] = 41;
    dm_host_addr_data(&sync, sizeof sync);
    dm_host_batch(SYNC_BATCH_OVER); /* the batch end announces every allocation */
}

int main(void)
{
    /* The application registers before the host initialises the library. */
    if (dm_reg_dev_event_handler_pd(on_event) != 0 || dm_reg_dev_rpc_handler_pd(on_rpc) != 0) {
        fprintf(stderr, "cannot register handlers\n");
        return 1;
    }
    dm_host_run_init();
    feed_chassis();

    if (wait_for_events(2) < 2) {
        fprintf(stderr, "chip-ID events did not arrive\n");
        return 1;
    }

    const int phyid = dm_slot_lport_phyid(1, 3, 5);
    dm_port_t p;
    int mod_phyid = 0, ifindex = 0, chipid = 0, cport = 0;
    if (dm_get_pinfo_by_phyid(phyid, &p) != 0 || dm_get_ifindex_from_phyid(phyid, &ifindex) != 0 ||
        dm_get_phyid_by_slot_lport(1, 3, 5, &mod_phyid) != 0 ||
        dm_get_chipid_port_from_phyid(phyid, &chipid, &cport) != 0) {
        fprintf(stderr, "port lookup failed\n");
        return 1;
    }
    printf(
        "port 0x%08x: ifindex 0x%x, node 0x%08x, device %d slot %d lport %d,\n"
        "  unit %d chip port %d, global chip %d, mod_port_phyid 0x%08x\n",
        phyid, ifindex, p.node, p.devid, p.slotid, p.portid, p.l_chipid, p.chip_portid, chipid,
        mod_phyid);
    /* The library's event thread runs the host's loop until the process
     * exits; nothing stops or joins it. */
    return 0;
}
