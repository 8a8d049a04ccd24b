#include "hostlink/HostLinkMessageSerializable.h"

HostLinkMessageSerializable::~HostLinkMessageSerializable() = default;
