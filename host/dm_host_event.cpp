// The host's device-event machinery: the wake-up object of an event list,
// the queueing of a copy of each event, and the event loop that hands the
// queued events, one at a time and in order, to a handler.
//
// The library gives the host its event list only through the wake-up object
// it asks the host to initialise; that list is where events are queued. An
// event raised before any list is known waits in the host's own pending list
// and moves to the library's list, ahead of later events, once it is known.
#include <atomic>
#include <cstddef>
#include <cstring>

#include "dm_host_ctl.h"
#include "dm_host_internal.h"

namespace {

constexpr int kMaxLoops = 16;

// Guards lib_list, pending and active_loops. Order: ev_lock, then a list's
// mutex, or ev_lock, then a wake-up object's mutex; never the reverse.
pthread_mutex_t ev_lock = PTHREAD_MUTEX_INITIALIZER;
dev_event_list_t *lib_list;                // where events are queued
list_head pending = {&pending, &pending};  // events raised before that
dm_os_event_t *active_loops[kMaxLoops];    // loops a stop request must wake

std::atomic<bool> stop_requested{false};
std::atomic<unsigned long> delivered{0};

// A queued event: the list link, then the message header and its data.
struct event_node {
    list_head link;  // first member: a link is its node
    dev_msg_t msg;   // data_len data bytes follow
};

dev_msg_t *node_msg(list_head *link) { return &reinterpret_cast<event_node *>(link)->msg; }

bool list_is_empty(const list_head *head) { return head->next == head; }

void list_add_tail(list_head *head, list_head *n)
{
    n->prev = head->prev;
    n->next = head;
    head->prev->next = n;
    head->prev = n;
}

list_head *list_pop_front(list_head *head)
{
    if (list_is_empty(head)) {
        return nullptr;
    }
    list_head *n = head->next;
    head->next = n->next;
    n->next->prev = head;
    return n;
}

// Moves every entry of `from` to the tail of `to`; returns how many.
int list_move_all(list_head *from, list_head *to)
{
    int moved = 0;
    while (list_head *n = list_pop_front(from)) {
        list_add_tail(to, n);
        ++moved;
    }
    return moved;
}

void wake(dm_os_event_t *ev)
{
    pthread_mutex_lock(&ev->mutex);
    ++ev->count;
    pthread_cond_signal(&ev->cond);
    pthread_mutex_unlock(&ev->mutex);
}

// Copies the header and data_len data bytes; null on bad length or memory.
event_node *copy_event(const dev_msg_t *msg)
{
    dev_msg_t head;
    std::memcpy(&head, msg, sizeof head);
    if (head.data_len < 0) {
        return nullptr;
    }
    const size_t data_len = static_cast<size_t>(head.data_len);
    auto *node = static_cast<event_node *>(std::malloc(sizeof(event_node) + data_len));
    if (node == nullptr) {
        return nullptr;
    }
    std::memcpy(&node->msg, &head, sizeof head);
    if (data_len > 0) {
        std::memcpy(&node->msg + 1, msg + 1, data_len);
    }
    return node;
}

int register_loop(dm_os_event_t *ev)
{
    dm_host::mutex_guard g(ev_lock);
    for (int i = 0; i < kMaxLoops; ++i) {
        if (active_loops[i] == nullptr) {
            active_loops[i] = ev;
            return i;
        }
    }
    return -1;
}

void unregister_loop(int slot)
{
    if (slot < 0) {
        return;
    }
    dm_host::mutex_guard g(ev_lock);
    active_loops[slot] = nullptr;
}

list_head *pop_event(dev_event_list_t *list)
{
    dm_host::mutex_guard g(list->mutex);
    list_head *n = list_pop_front(&list->list);
    if (n != nullptr) {
        --list->cur_num;
    }
    return n;
}

// Sleeps until an event was queued since the last wake-up, or a stop.
void wait_for_work(dm_os_event_t *ev)
{
    pthread_mutex_lock(&ev->mutex);
    while (ev->count == 0 && !stop_requested.load()) {
        pthread_cond_wait(&ev->cond, &ev->mutex);
    }
    ev->count = 0;
    pthread_mutex_unlock(&ev->mutex);
}

}  // namespace

extern "C" {

// The wake-up object always sits inside the library's event list, so the
// list is found from it; initialising it makes that list the one events are
// queued on. A second call for the list already in use keeps it as it is:
// re-initialising a condition a loop may be waiting on is not safe.
int dm_os_event_init(dm_os_event_t *event)
{
    if (event == nullptr) {
        return -1;
    }
    auto *list = reinterpret_cast<dev_event_list_t *>(reinterpret_cast<char *>(event) -
                                                      offsetof(dev_event_list_t, os_event));
    {
        dm_host::mutex_guard g(ev_lock);
        if (lib_list == list) {
            return 0;
        }
    }
    if (pthread_cond_init(&event->cond, nullptr) != 0) {
        return -1;
    }
    if (pthread_mutex_init(&event->mutex, nullptr) != 0) {
        pthread_cond_destroy(&event->cond);
        return -1;
    }
    event->count = 0;

    int moved;
    {
        dm_host::mutex_guard g(ev_lock);
        lib_list = list;
        dm_host::mutex_guard lg(list->mutex);
        moved = list_move_all(&pending, &list->list);
        list->cur_num += moved;
    }
    if (moved > 0) {
        wake(event);
    }
    return 0;
}

int dm_dev_event_notify(dev_msg_t *msg)
{
    if (msg == nullptr) {
        return -1;
    }
    dm_host::log_event_step();
    event_node *node = copy_event(msg);
    if (node == nullptr) {
        return -1;
    }
    dev_event_list_t *list;
    {
        dm_host::mutex_guard g(ev_lock);
        list = lib_list;
        if (list == nullptr) {
            list_add_tail(&pending, &node->link);
            return 0;
        }
        dm_host::mutex_guard lg(list->mutex);
        list_add_tail(&list->list, &node->link);
        ++list->cur_num;
    }
    wake(&list->os_event);
    return 0;
}

// Runs until a stop is requested. Events queued while no handler is given
// are taken off the list and dropped, so the list never grows without bound.
void dev_event_thread_prototype(dev_event_list_t *list, dev_event_handler handler)
{
    if (list == nullptr) {
        return;
    }
    const int slot = register_loop(&list->os_event);
    while (!stop_requested.load()) {
        list_head *n = pop_event(list);
        if (n == nullptr) {
            wait_for_work(&list->os_event);
            continue;
        }
        if (handler != nullptr) {
            handler(node_msg(n));
            delivered.fetch_add(1);
        }
        std::free(n);
    }
    unregister_loop(slot);
}

void dm_host_event_stop(void)
{
    stop_requested.store(true);
    dm_host::mutex_guard g(ev_lock);
    for (dm_os_event_t *ev : active_loops) {
        if (ev != nullptr) {
            pthread_mutex_lock(&ev->mutex);
            pthread_cond_broadcast(&ev->cond);
            pthread_mutex_unlock(&ev->mutex);
        }
    }
}

unsigned long dm_host_events_delivered(void) { return delivered.load(); }

}  // extern "C"
