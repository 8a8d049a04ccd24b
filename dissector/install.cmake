# Installs the plugin where Wireshark looks. That is one folder of the system, whatever the prefix: for the prefixes of the
# system it goes there. Below any other prefix nobody looks; there it waits for a link to it.

# wireshark_looks(folder): what the Wireshark of this machine says; otherwise where Debian's would look.
function(wireshark_looks folder)
    set(told)
    find_program(tshark NAMES tshark)
    if(tshark AND for_this_machine)
        execute_process(COMMAND ${tshark} -G folders OUTPUT_VARIABLE told ERROR_QUIET)
    endif()
    if(told MATCHES "Global Lua Plugins:[ \t]*(/[^\n]+)")
        set(${folder} ${CMAKE_MATCH_1} PARENT_SCOPE)
    else()
        set(${folder} /usr/lib/${architecture}/wireshark/plugins PARENT_SCOPE)
    endif()
endfunction()

if(chosen)
    set(folder ${chosen})
elseif(CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?/?$")
    wireshark_looks(folder)
else()
    cmake_path(ABSOLUTE_PATH library_folder BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
    set(folder ${library_folder}/wireshark/plugins)
    message(STATUS "Wireshark finds ${folder}/hostlink.lua when ~/.local/lib/wireshark/plugins has a link to it")
endif()
file(INSTALL DESTINATION "${folder}" TYPE FILE FILES "${plugin}")
