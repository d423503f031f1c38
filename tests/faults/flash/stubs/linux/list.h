/* SPDX-License-Identifier: Apache-2.0 */
/* Doubly linked rings, as the kernel's list.h offers them. */
#ifndef STUB_LINUX_LIST_H
#define STUB_LINUX_LIST_H

#include <stddef.h>

struct list_head {
    struct list_head *next, *prev;
};

#define LIST_HEAD(name) struct list_head name = {&(name), &(name)}
#define INIT_LIST_HEAD(head) ((head)->next = (head)->prev = (head))
#define list_entry(link, type, member) ((type *)((char *)(link)-offsetof(type, member)))
#define list_for_each(link, head) for ((link) = (head)->next; (link) != (head); (link) = (link)->next)
#define list_for_each_safe(link, after, head)                             \
    for ((link) = (head)->next, (after) = (link)->next; (link) != (head); \
         (link) = (after), (after) = (link)->next)

static inline void list_add_between(struct list_head *link, struct list_head *prev, struct list_head *next) {
    link->prev = prev;
    link->next = next;
    prev->next = link;
    next->prev = link;
}

static inline void list_add(struct list_head *link, struct list_head *head) {
    list_add_between(link, head, head->next);
}

static inline void list_add_tail(struct list_head *link, struct list_head *head) {
    list_add_between(link, head->prev, head);
}

static inline void list_del(struct list_head *link) {
    link->prev->next = link->next;
    link->next->prev = link->prev;
}

static inline void list_del_init(struct list_head *link) {
    list_del(link);
    INIT_LIST_HEAD(link);
}

static inline int list_empty(const struct list_head *head) { return head->next == head; }

#endif
