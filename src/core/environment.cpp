#include "core/environment.h"

#include <cstdlib>

#ifdef _WIN32
#include <windows.h>
#endif

namespace cali {

std::optional<std::string> environment_variable(const char* name) {
#ifdef _WIN32
    std::string value(64, '\0');
    SetLastError(ERROR_SUCCESS);  // an empty variable has the length of none
    DWORD length = GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size()));
    while (length >= value.size()) {  // with the zero that ends it: another thread may set longer ones meanwhile
        value.resize(length);
        length = GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size()));
    }
    if (length == 0 && GetLastError() != ERROR_SUCCESS) {
        return std::nullopt;
    }
    value.resize(length);
    return value;
#else
    const char* const value = std::getenv(name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
#endif
}

}  // namespace cali
