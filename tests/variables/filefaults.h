#pragma once

#include <sys/resource.h>

// File failures an operator meets, made to happen in a test.

// Root passes every file permission check, which would hide what a read-only
// folder or an unreadable file does. While this guard lives, the calling thread
// runs without the capabilities that override file permissions; for other
// users it does nothing.
class WithoutFileRights final {
public:
    WithoutFileRights();
    ~WithoutFileRights();
    WithoutFileRights(const WithoutFileRights&) = delete;
    WithoutFileRights& operator=(const WithoutFileRights&) = delete;

    // False when the permissions could not be made to count (then skip the test).
    bool active() const { return m_active; }

private:
    bool m_active = true;
    bool m_dropped = false;
};

// Writes stop once a file reaches `bytes`, as on a full disk.
class FileSizeLimit final {
public:
    explicit FileSizeLimit(rlim_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_old{};
    void (*m_oldHandler)(int) = nullptr;
};
