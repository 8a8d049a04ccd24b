#include "HostLinkMessageSerializable.h"

HostLinkMessageSerializable::~HostLinkMessageSerializable() = default;
