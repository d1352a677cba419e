#pragma once

// The broker's headers for plugins, in the order in which they need each other; `mosquitto.h` holds the
// codes.
#include <mosquitto.h>
#include <mosquitto_broker.h>
#include <mosquitto_plugin.h>
