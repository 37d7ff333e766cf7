// A word that one thread sets while another reads it.
#pragma once

/// Messages, deferred calls and audio start reach an instance while its audio plays. Each access is
/// whole; who reads a value also finds what its writer stored before it. Nobody ever waits.
/// It needs no constructor, so that it may stand in memory that the host has filled with zeros.
// NOLINTBEGIN(google-explicit-constructor,misc-unconventional-assign-operator,bugprone-sizeof-expression):
// it is used like the plain number that it holds
template <class T>
class k_shared {
public:
    static_assert(__atomic_always_lock_free(sizeof(T), nullptr));

    k_shared() = default;
    k_shared(const k_shared &other) : value(T(other)) {}
    constexpr k_shared(T initial) : value(initial) {}

    operator T() const
    {
        T now;
        __atomic_load(&value, &now, __ATOMIC_ACQUIRE);
        return now;
    }

    T operator=(const k_shared &other) { return *this = T(other); }

    T operator=(T next)
    {
        __atomic_store(&value, &next, __ATOMIC_RELEASE);
        return next;
    }

    /// Sets `next` and returns what was there, in one step.
    T exchange(T next)
    {
        T before;
        __atomic_exchange(&value, &next, &before, __ATOMIC_ACQ_REL);
        return before;
    }

    /// Sets `next`, unless another thread has replaced `before` meanwhile: its value stays.
    void replace(T before, T next)
    {
        __atomic_compare_exchange(&value, &before, &next, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_RELAXED);
    }

    void operator*=(T factor)
    {
        const T before = *this;
        replace(before, before * factor);
    }

private:
    T value;
};
// NOLINTEND(google-explicit-constructor,misc-unconventional-assign-operator,bugprone-sizeof-expression)
