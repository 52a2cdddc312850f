/*
 * consumer.c - a C11 application built against an installed dm_lib_pd.
 *
 * Includes only the umbrella header and the host stand-in's control header,
 * plays the data-plane master through the stand-in, and checks a few answers
 * of each kind: a record copy, a heap array the caller frees, a string, the
 * chip-ID events and an allocation query. Exits 0 when every answer is right.
 */
#define _POSIX_C_SOURCE 200809L

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <dm_lib_pd/dm_lib_pd.h>

#include "dm_host_ctl.h"

enum { kCardType = 210, kChipType = 7, kDev = 1, kSlot = 4 };

static pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_cv = PTHREAD_COND_INITIALIZER;
static int g_allocs;
static int g_failures;

static void check(int ok, const char *what)
{
    if (!ok) {
        fprintf(stderr, "consumer_c: wrong answer: %s\n", what);
        ++g_failures;
    }
}

/* Runs on the library's event thread. */
static int on_event(dev_msg_t *msg)
{
    if (msg->msg_id == DEV_MSG_CHIPIP_ALLOC) {
        pthread_mutex_lock(&g_mu);
        ++g_allocs;
        pthread_cond_signal(&g_cv);
        pthread_mutex_unlock(&g_mu);
    }
    return 0;
}

static int wait_allocs(int n)
{
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 10;
    pthread_mutex_lock(&g_mu);
    while (g_allocs < n && pthread_cond_timedwait(&g_cv, &g_mu, &until) == 0) {
    }
    const int got = g_allocs;
    pthread_mutex_unlock(&g_mu);
    return got;
}

static void send_card_type(void)
{
    static dp_lib_card_type_info_t card; /* 2 KiB: not on the stack */
    memset(&card, 0, sizeof card);
    card.card_type = kCardType;
    card.port_num = 48;
    card.chip_num = 2;
    card.chip_types[0] = kChipType;
    card.chip_types[1] = kChipType;
    strcpy(card.name, "LC-48X");
    card.node_type = DM_TYPE_LC;
    dm_host_send_msg(DP_LIB_MSG_CARD_CFG, &card, (int)sizeof card);
}

static void send_chip_ids(int gslot)
{
    struct {
        addr_lib_sync_head_t head;
        chipid_slot_t slot;
    } sync;
    memset(&sync, 0, sizeof sync);
    sync.head.len = (int32_t)sizeof sync;
    sync.head.type = ADDR_LIB_BS_SYNC;
    sync.head.data_num = 1;
    sync.slot.status = CHIPID_VALID;
    sync.slot.gslot = gslot;
    sync.slot.card_type = kCardType;
    sync.slot.idnum_per_unit = 1;
    sync.slot.id_num = 2;
    sync.slot.id[0] = 300;
    sync.slot.id[1] = 301;
    dm_host_addr_data(&sync, (int)sizeof sync);
    dm_host_batch(SYNC_BATCH_OVER);
}

int main(void)
{
    check(dm_reg_dev_event_handler_pd(on_event) == 0, "event handler registered");
    const int node = dm_node_make(kDev, kSlot);
    const int gslot = dm_get_gslot_from_lslot(kDev, kSlot, 0);
    dm_host_set_my_card(node, gslot, kCardType, DM_TYPE_LC);
    dm_host_set_card(node, kCardType, kCardType, DM_TYPE_LC);
    check(dm_host_run_init() == 0, "library initialised by the host");

    send_card_type();
    check(dm_get_card_port_num_by_type(kCardType) == 48, "port count of the card type");
    char name[DP_LIB_CARD_NAME_LEN];
    check(dm_get_card_name_by_type(kCardType, name, (int)sizeof name) == 0 &&
              strcmp(name, "LC-48X") == 0,
          "name of the card type");
    int *units = NULL;
    const int chips = dm_get_my_lchips(&units);
    check(chips == 2 && units != NULL && units[1] == kChipType, "this card's chip types");
    free(units); /* the caller owns the array */

    send_chip_ids(gslot);
    check(wait_allocs(2) == 2, "two chip-ID allocation events");
    dm_chipid_alloc_t allocs[4];
    int num = 4;
    check(dm_get_alloced_chipid(allocs, &num) == 0 && num == 2 && allocs[1].chipid == 301 &&
              allocs[1].node == node && allocs[1].unit == 1,
          "allocated chip IDs");
    check(dm_is_local_chipid(300), "chip ID 300 is this card's");

    dm_host_event_stop();
    if (g_failures != 0) {
        return 1;
    }
    printf("consumer_c: all answers right\n");
    return 0;
}
