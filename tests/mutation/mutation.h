// SPDX-License-Identifier: Apache-2.0
// What the rewritten source of a mutation check calls: each place that can be changed passes its number here
// and gets the changed result when that number, or one of those after it, is the active one. Included before
// every file of the rewritten tree; the module itself never sees it.
#ifndef JORN_TESTS_MUTATION_MUTATION_H
#define JORN_TESTS_MUTATION_MUTATION_H

#include <new>
#include <type_traits>

namespace mutation {

constexpr int kIdsMax = 1 << 15;

/// The active mutant, 0 for none. Set before anything else of the program runs.
extern int active;

/// Which places the running test executed; null unless that is wanted.
extern bool *reached;

/// Which of a place's mutants is active, counted from 0; -1 when none of them is.
inline int chosen(int id, int variants) {
    if (reached != nullptr) {
        __atomic_store_n(&reached[id], true, __ATOMIC_RELAXED);
    }
    return active >= id && active < id + variants ? active - id : -1;
}

inline bool isActive(int id) { return chosen(id, 1) == 0; }

inline bool negated(int id, bool value) { return value != isActive(id); }

template <typename A, typename B>
bool less(int id, const A &a, const B &b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a <= b : variant == 1 ? a >= b : a < b;
}

template <typename A, typename B>
bool lessEqual(int id, const A &a, const B &b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a < b : variant == 1 ? a > b : a <= b;
}

template <typename A, typename B>
bool greater(int id, const A &a, const B &b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a >= b : variant == 1 ? a <= b : a > b;
}

template <typename A, typename B>
bool greaterEqual(int id, const A &a, const B &b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a > b : variant == 1 ? a < b : a >= b;
}

template <typename A, typename B>
bool equal(int id, const A &a, const B &b) {
    return (a == b) != isActive(id);
}

template <typename A, typename B>
bool notEqual(int id, const A &a, const B &b) {
    return (a != b) != isActive(id);
}

template <typename A, typename B>
auto add(int id, A a, B b) -> decltype(a + b) {
    return isActive(id) ? a - b : a + b;
}

template <typename A, typename B>
auto subtract(int id, A a, B b) -> decltype(a - b) {
    if constexpr (std::is_pointer_v<A> && std::is_pointer_v<B>) {
        return isActive(id) ? b - a : a - b;  // two pointers have no sum
    } else {
        return isActive(id) ? a + b : a - b;
    }
}

template <typename A, typename B>
auto multiply(int id, A a, B b) -> decltype(a * b) {
    return isActive(id) ? a / b : a * b;
}

template <typename A, typename B>
auto divide(int id, A a, B b) -> decltype(a / b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a * b : variant == 1 ? a % b : a / b;
}

template <typename A, typename B>
auto modulo(int id, A a, B b) -> decltype(a % b) {
    const int variant = chosen(id, 2);
    return variant == 0 ? a * b : variant == 1 ? a / b : a % b;
}

template <typename A, typename B>
A &addTo(int id, A &a, B b) {
    return isActive(id) ? a -= b : a += b;
}

template <typename A, typename B>
A &subtractFrom(int id, A &a, B b) {
    return isActive(id) ? a += b : a -= b;
}

template <typename A>
A &stepUp(int id, A &a) {
    return isActive(id) ? --a : ++a;
}

template <typename A>
A &stepDown(int id, A &a) {
    return isActive(id) ? ++a : --a;
}

template <typename A>
A stepUpAfter(int id, A &a) {
    return isActive(id) ? a-- : a++;
}

template <typename A>
A stepDownAfter(int id, A &a) {
    return isActive(id) ? a++ : a--;
}

/// A constant, one more, or one less.
template <typename A>
A constant(int id, A a) {
    const int variant = chosen(id, 2);
    return static_cast<A>(variant == 0 ? a + 1 : variant == 1 ? a - 1 : a);
}

/// What a function returns, or 0, or -1.
template <typename A>
A returned(int id, A a) {
    const int variant = chosen(id, std::is_pointer_v<A> ? 1 : 2);
    if (variant < 0) {
        return a;
    }
    if constexpr (std::is_pointer_v<A>) {
        return nullptr;
    } else {
        return static_cast<A>(variant == 0 ? 0 : -1);
    }
}

/// A scope guard, or none.
template <typename Guard>
class Dropped {
public:
    template <typename... Arguments>
    explicit Dropped(int id, Arguments... arguments) : isDropped_(isActive(id)) {
        if (!isDropped_) {
            new (&guard_) Guard(arguments...);
        }
    }
    ~Dropped() {
        if (!isDropped_) {
            guard_.~Guard();
        }
    }
    Dropped(const Dropped &) = delete;
    Dropped &operator=(const Dropped &) = delete;

private:
    bool isDropped_;
    union {
        Guard guard_;
    };
};

}  // namespace mutation

#endif
