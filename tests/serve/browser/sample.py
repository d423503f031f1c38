# SPDX-License-Identifier: Apache-2.0
"""The log that most tests look at: an item a minute for ten hours."""
BEGIN = 1795003200  # 2026-11-18 12:00:00 UTC
COUNT = 600
# The store's own first item has the time of the first that is recorded.
TOTAL = COUNT + 1
FIRST = "Log start init!"


def level(number):
    return 0 if number % 50 == 0 else 1 if number % 10 == 0 else 3 if number % 3 == 0 else 2


def item(number):
    return BEGIN + 60 * number, level(number), number % 3, f"item {number}"


ITEMS = [item(number) for number in range(COUNT)]
NEWEST_FIRST = [text for _, _, _, text in reversed(ITEMS)] + [FIRST]


def texts(condition=lambda *item: True):
    """Texts of the items, the newest first, for which a condition (time, level, slot, text) holds."""
    return [one[3] for one in reversed(ITEMS) if condition(*one)]
