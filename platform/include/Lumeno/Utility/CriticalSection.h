// A lock that serialises access to shared state within a process, and its scoped holder.
#pragma once

#include <mutex>

namespace Lumeno::Utility {

// Re-entrant: a thread that holds it may take it again.
class CriticalSection {
public:
    void enter() { mutex_.lock(); }
    void leave() { mutex_.unlock(); }

private:
    std::recursive_mutex mutex_;
};

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CriticalSection& section) : section_(section) { section_.enter(); }
    ~CriticalSectionLock() { section_.leave(); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CriticalSection& section_;
};

} // namespace Lumeno::Utility
