#include "SerialBus.h"

SerialBus::~SerialBus() = default;
