#pragma once

#include <stdexcept>
#include <string>

#include <mosquitto.h>

namespace xel::killtest {

/// Throws, naming what was done, when the code that libmosquitto answered is that of a failure.
inline void requireMosquitto(int code, const char* what) {
    if (code != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error(std::string(what) + ": " + mosquitto_strerror(code));
    }
}

}  // namespace xel::killtest
