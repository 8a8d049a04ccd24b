#include "InterruptLine.h"

#include "ChipLine.h"
#include "SysfsLine.h"

std::unique_ptr<InterruptLine> makeInterruptLine(const HostLinkPhysicalLayer::Properties& properties, int number) {
    if (!properties.contains(GpioChip)) return std::make_unique<SysfsLine>(number);
    return std::make_unique<ChipLine>(ChipLine::Settings{properties.getString(GpioChip), properties.getString(GpioLine),
                                                         number, properties.getString(GpioBias),
                                                         properties.getInt(GpioDebounce)});
}
