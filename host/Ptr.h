#pragma once
#include <atomic>
#include <utility>

// The host's intrusive reference-counted pointer. Objects derive from
// RefCounted and die with their last reference.
class RefCounted {
public:
    virtual ~RefCounted() = default;
    void addRef() const { m_refs.fetch_add(1, std::memory_order_relaxed); }
    void release() const
    {
        if (m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

private:
    mutable std::atomic<long> m_refs{0};
};

template <class T>
class Ptr {
public:
    Ptr() = default;
    Ptr(std::nullptr_t) {}
    Ptr(T* p) : m_p(p) { if (m_p) m_p->addRef(); }
    Ptr(const Ptr& other) : Ptr(other.m_p) {}
    Ptr(Ptr&& other) noexcept : m_p(std::exchange(other.m_p, nullptr)) {}
    template <class U>
    Ptr(const Ptr<U>& other) : Ptr(other.get()) {}
    ~Ptr() { if (m_p) m_p->release(); }

    Ptr& operator=(Ptr other) noexcept
    {
        std::swap(m_p, other.m_p);
        return *this;
    }

    T* get() const { return m_p; }
    T* operator->() const { return m_p; }
    T& operator*() const { return *m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    bool operator==(const Ptr& other) const { return m_p == other.m_p; }
    bool operator!=(const Ptr& other) const { return m_p != other.m_p; }
    void reset() { Ptr().swap(*this); }
    void swap(Ptr& other) noexcept { std::swap(m_p, other.m_p); }

private:
    T* m_p = nullptr;
};
