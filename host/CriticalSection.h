#pragma once
#include <mutex>

// The host's re-entrant lock, held per open file.
class CriticalSection {
public:
    void enter() { m_mutex.lock(); }
    void leave() { m_mutex.unlock(); }

    class Lock {
    public:
        explicit Lock(CriticalSection& section) : m_section(section) { m_section.enter(); }
        ~Lock() { m_section.leave(); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        CriticalSection& m_section;
    };

private:
    std::recursive_mutex m_mutex;
};
