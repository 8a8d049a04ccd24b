# zent_leads_a_file(result header): whether a source of its name includes it before anything else and is compiled alone, so
# that the library's own build tells whether it leans on others; and it has its guard.
function(zent_leads_a_file result header)
    get_filename_component(folder ${header} DIRECTORY)
    get_filename_component(name ${header} NAME_WE)
    file(STRINGS ${header} guard REGEX "^#pragma once" LIMIT_COUNT 1)
    file(GLOB sources ${folder}/${name}.cpp ${folder}/*/${name}.cpp)
    set(leads OFF)
    foreach(source IN LISTS sources)
        file(STRINGS ${source} first REGEX "^#include" LIMIT_COUNT 1)
        if(guard AND first MATCHES "[\"/]${name}\\.h\"" AND NOT CMAKE_UNITY_BUILD)
            set(leads ON)
        endif()
    endforeach()
    set(${result} ${leads} PARENT_SCOPE)
endfunction()

# zent_headers_alone(target BASE directory LINK libraries HEADERS headers): compiles each header twice over in a file of
# its own, so that a header which leans on what others include, or lacks its guard, does not build. Those that lead a file
# need none.
function(zent_headers_alone target)
    cmake_parse_arguments(arg "" "BASE" "LINK;HEADERS" ${ARGN})
    set(sources)
    foreach(header IN LISTS arg_HEADERS)
        zent_leads_a_file(leads ${header})
        if(leads)
            continue()
        endif()
        file(RELATIVE_PATH name ${arg_BASE} ${header})
        string(MAKE_C_IDENTIFIER ${name} identifier)
        set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}/${identifier}.cpp)
        file(CONFIGURE OUTPUT ${source} CONTENT "#include <@name@>\n#include <@name@> // NOLINT(readability-duplicate-include)\n"
            @ONLY)
        list(APPEND sources ${source})
    endforeach()
    if(NOT sources)
        return()
    endif()
    add_library(${target} OBJECT ${sources})
    target_link_libraries(${target} PRIVATE zent_settings ${arg_LINK})
    target_compile_options(${target} PRIVATE -O0 -g0) # nobody runs it
endfunction()

# The headers of both libraries, public and hidden, each with what its room may see.
function(zent_all_headers_alone)
    foreach(room core objects vocabulary machines link physicalLayers transport serialcomm)
        file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/lib/hostlink/${room}/*.h)
        if(room STREQUAL serialcomm)
            file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/lib/${room}/*.h)
        endif()
        zent_public_headers(public ${room})
        list(TRANSFORM public PREPEND ${PROJECT_SOURCE_DIR}/src/lib/)
        list(APPEND headers ${public})
        list(REMOVE_DUPLICATES headers)
        if(headers)
            zent_headers_alone(headers_alone_${room} BASE ${PROJECT_SOURCE_DIR}/src/lib
                LINK inside_${room} PkgConfig::log4cplus HEADERS ${headers})
        endif()
    endforeach()

    foreach(room values clientMachines client)
        string(REPLACE "clientMachines" "machines" folder ${room})
        string(REGEX REPLACE "^client$" "session" folder ${folder})
        file(GLOB headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/lib/hostlinkclient/${folder}/*.h)
        zent_public_headers(public ${room})
        list(TRANSFORM public PREPEND ${PROJECT_SOURCE_DIR}/src/lib/)
        zent_headers_alone(headers_alone_${room} BASE ${PROJECT_SOURCE_DIR}/src/lib
            LINK inside_${room} PkgConfig::log4cplus HEADERS ${headers} ${public})
    endforeach()

    # The function core's headers from C99 as well.
    zent_public_headers(public core)
    foreach(header IN LISTS public)
        get_filename_component(name ${header} NAME_WE)
        file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/headers_alone_core/${name}.c
            CONTENT "#include <@header@>\n#include <@header@>\ntypedef int notEmpty;\n" @ONLY)
        target_sources(headers_alone_core PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/headers_alone_core/${name}.c)
    endforeach()
endfunction()
