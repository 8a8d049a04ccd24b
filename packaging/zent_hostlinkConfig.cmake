# find_package(zent_hostlink) gives the targets zent::zent_hostLinkClient, zent::zent_hostLinkLib and
# zent::zent_serialComm.
include("${CMAKE_CURRENT_LIST_DIR}/zent_hostlinkTargets.cmake")
