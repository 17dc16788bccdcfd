#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace ferrydeck::test {

// Sets or clears one environment variable and restores it when it goes.
class EnvironmentGuard {
public:
    EnvironmentGuard(const char *name, const char *value)
        : m_name(name)
    {
        if (const char *old = std::getenv(name)) m_old = old;
        if (value) ::setenv(name, value, 1);
        else ::unsetenv(name);
    }
    ~EnvironmentGuard()
    {
        if (m_old) ::setenv(m_name.c_str(), m_old->c_str(), 1);
        else ::unsetenv(m_name.c_str());
    }
    EnvironmentGuard(const EnvironmentGuard &) = delete;
    EnvironmentGuard &operator=(const EnvironmentGuard &) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_old;
};

} // namespace ferrydeck::test
