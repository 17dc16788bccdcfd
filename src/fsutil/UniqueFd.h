#pragma once

#include <unistd.h>

#include <utility>

namespace ferrydeck {

// Owns one file descriptor: no copies, a moved-from object is empty, and the
// destructor closes quietly.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd)
        : m_fd(fd)
    {
    }
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    UniqueFd(UniqueFd &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        if (this != &other) reset(std::exchange(other.m_fd, -1));
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    explicit operator bool() const { return valid(); }
    int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1)
    {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

} // namespace ferrydeck
