#pragma once

#include <mutex>
#include <utility>

namespace ferrydeck {

// A value read and written from several threads under its own mutex. Each
// call is atomic on its own; update() groups a read-change-write into one.
// Fields changed together belong in one struct behind one Guarded.
template <typename T> class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value)
        : m_value(std::move(value))
    {
    }
    // A copy is taken under the other's lock.
    Guarded(const Guarded &other)
        : m_value(other.get())
    {
    }
    Guarded &operator=(const Guarded &other)
    {
        if (this != &other) set(other.get());
        return *this;
    }

    T get() const
    {
        std::lock_guard lock(m_mutex);
        return m_value;
    }
    void set(T value)
    {
        std::lock_guard lock(m_mutex);
        m_value = std::move(value);
    }
    // One member of a struct value.
    template <auto Member> auto get() const
    {
        std::lock_guard lock(m_mutex);
        return m_value.*Member;
    }
    template <auto Member, typename V> void set(V &&value)
    {
        std::lock_guard lock(m_mutex);
        m_value.*Member = std::forward<V>(value);
    }
    // `change(T &)` under the lock; answers what it answers.
    template <typename F> decltype(auto) update(F &&change)
    {
        std::lock_guard lock(m_mutex);
        return std::forward<F>(change)(m_value);
    }
    template <typename F> decltype(auto) read(F &&look) const
    {
        std::lock_guard lock(m_mutex);
        return std::forward<F>(look)(std::as_const(m_value));
    }

private:
    mutable std::mutex m_mutex;
    T m_value{};
};

} // namespace ferrydeck
