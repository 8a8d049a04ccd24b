# Installs the plugin, and what Wireshark calls for live captures, where Wireshark looks. Those are folders of the system,
# whatever the prefix: for the prefixes of the system they go there. Below any other prefix nobody looks; there they wait for
# a link to them.

# wireshark_looks(folder title usual): what the Wireshark of this machine says under that title; otherwise where Debian's
# would look.
function(wireshark_looks folder title usual)
    set(told)
    find_program(tshark NAMES tshark)
    if(tshark AND for_this_machine)
        execute_process(COMMAND ${tshark} -G folders OUTPUT_VARIABLE told ERROR_QUIET)
    endif()
    if(told MATCHES "${title}:[ \t]*(/[^\n]+)")
        set(${folder} ${CMAKE_MATCH_1} PARENT_SCOPE)
    else()
        set(${folder} /usr/lib/${architecture}/wireshark/${usual} PARENT_SCOPE)
    endif()
endfunction()

# wireshark_folder(folder chosen title usual)
function(wireshark_folder folder wanted title usual)
    if(wanted)
        set(found ${wanted})
    elseif(CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?/?$")
        wireshark_looks(found ${title} ${usual})
    else()
        cmake_path(ABSOLUTE_PATH library_folder BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
        set(found ${library_folder}/wireshark/${usual})
        message(STATUS "Wireshark does not look into ${found}: docs/dissector.md says how it finds what is there")
    endif()
    set(${folder} ${found} PARENT_SCOPE)
endfunction()

wireshark_folder(folder "${chosen}" "Global Lua Plugins" plugins)
file(INSTALL DESTINATION "${folder}" TYPE FILE FILES "${plugin}")

if(has_program)
    cmake_path(ABSOLUTE_PATH program_folder BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
    file(READ "${extcap}" script)
    string(REPLACE "@program@" "${program_folder}/hostlink" script "${script}")
    file(WRITE "${extcap_made}" "${script}")
    wireshark_folder(folder "${extcap_chosen}" "Extcap path" extcap)
    file(INSTALL DESTINATION "${folder}" TYPE PROGRAM FILES "${extcap_made}")
endif()
