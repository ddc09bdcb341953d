#pragma once

#include <windows.h>

#include <string>

namespace tovix::test {

/// An environment variable of this process and of those it starts, for the object's life; an empty value removes it.
class EnvironmentVariable {
public:
    EnvironmentVariable(std::wstring name, const std::wstring& value) : m_name(std::move(name)) {
        m_before.resize(::GetEnvironmentVariableW(m_name.c_str(), nullptr, 0));
        m_before.resize(
            ::GetEnvironmentVariableW(m_name.c_str(), m_before.data(), static_cast<DWORD>(m_before.size())));
        set(value);
    }
    ~EnvironmentVariable() { set(m_before); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void set(const std::wstring& value) {
        ::SetEnvironmentVariableW(m_name.c_str(), value.empty() ? nullptr : value.c_str());
    }

    std::wstring m_name;
    std::wstring m_before;
};

} // namespace tovix::test
