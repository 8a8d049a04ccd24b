# zent_headers_alone(target BASE directory LINK libraries HEADERS headers): compiles each header twice over in a file of
# its own, so that a header which leans on what others include, or lacks its guard, does not build.
function(zent_headers_alone target)
    cmake_parse_arguments(arg "" "BASE" "LINK;HEADERS" ${ARGN})
    set(sources)
    foreach(header IN LISTS arg_HEADERS)
        file(RELATIVE_PATH name ${arg_BASE} ${header})
        string(MAKE_C_IDENTIFIER ${name} identifier)
        set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}/${identifier}.cpp)
        file(CONFIGURE OUTPUT ${source} CONTENT "#include <@name@>\n#include <@name@> // NOLINT(readability-duplicate-include)\n"
            @ONLY)
        list(APPEND sources ${source})
    endforeach()
    add_library(${target} OBJECT ${sources})
    target_link_libraries(${target} PRIVATE zent_settings ${arg_LINK})
    target_include_directories(${target} PRIVATE ${arg_BASE})
endfunction()

# The public headers, as programs include them.
file(GLOB public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/lib/hostlink/*.h
    ${PROJECT_SOURCE_DIR}/src/lib/hostlink/physicalLayers/*.h ${PROJECT_SOURCE_DIR}/src/lib/serialcomm/*.h)
zent_headers_alone(headers_alone BASE ${PROJECT_SOURCE_DIR}/src/lib LINK PkgConfig::log4cplus HEADERS ${public_headers})

# The function core's header from C99 as well.
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/headers_alone/HostLinkLib.c
    CONTENT "#include <hostlink/HostLinkLib.h>\n#include <hostlink/HostLinkLib.h>\ntypedef int notEmpty;\n" @ONLY)
target_sources(headers_alone PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/headers_alone/HostLinkLib.c)
