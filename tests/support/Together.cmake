# Test files compiled several at a time: most of what a compiler does with a test it does over again for each file, the
# headers and what they instantiate.
#
# Each file stands in a namespace of its own, so that what it names for itself is nobody else's: its headers are included
# before, and their guards keep them out of the namespace.

# zent_compile_together(target): the target's files `*_test.cpp`, so many at a time. Those that open namespaces of others,
# need settings of their own or headers of the kernel that the C library's contradict stay as they are.
function(zent_compile_together target)
    get_target_property(sources ${target} SOURCES)
    set(together)
    foreach(source IN LISTS sources)
        get_filename_component(source ${source} ABSOLUTE)
        if(NOT source MATCHES "_test\\.cpp$")
            continue()
        endif()
        get_source_file_property(options ${source} COMPILE_OPTIONS)
        get_source_file_property(alone ${source} SKIP_UNITY_BUILD_INCLUSION)
        file(STRINGS ${source} own REGEX "^(namespace [a-z]|#include <asm/)")
        if(NOT options AND NOT alone AND NOT own)
            list(APPEND together ${source})
        endif()
    endforeach()

    set(number 1)
    list(LENGTH together left)
    while(left GREATER 1)
        list(SUBLIST together 0 ${ZENT_TEST_FILES_TOGETHER} files)
        zent_write_together(${CMAKE_CURRENT_BINARY_DIR}/${target}_together/${number}.cpp ${files})
        target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}_together/${number}.cpp)
        # Fixtures without a name that others sees are all that these namespaces hold.
        set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${target}_together/${number}.cpp PROPERTIES
            COMPILE_OPTIONS $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
        set_source_files_properties(${files} PROPERTIES HEADER_FILE_ONLY ON)
        list(REMOVE_ITEM together ${files})
        list(LENGTH together left)
        math(EXPR number "${number} + 1")
    endwhile()
endfunction()

# zent_write_together(file sources...): writes the file that includes them. What they include is read again when they change.
function(zent_write_together file)
    set(headers)
    set(bodies)
    foreach(source IN LISTS ARGN)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
        get_filename_component(folder ${source} DIRECTORY)
        get_filename_component(name ${source} NAME_WE)
        file(STRINGS ${source} includes REGEX "^#include (<|\".*\\.h\")")
        foreach(include IN LISTS includes)
            string(REGEX MATCH "\"(.*)\"" quoted "${include}")
            if(quoted AND EXISTS ${folder}/${CMAKE_MATCH_1})
                set(include "#include \"${folder}/${CMAKE_MATCH_1}\"")
            endif()
            list(APPEND headers "${include}\n")
        endforeach()
        string(APPEND bodies "\nnamespace ${name} {\n#include \"${source}\"\n}\n")
    endforeach()
    list(REMOVE_DUPLICATES headers)
    list(JOIN headers "" headers)
    file(CONFIGURE OUTPUT ${file} CONTENT "${headers}${bodies}" @ONLY)
endfunction()

# zent_helpers_together(target): all files of a library or program that helps the tests at once. What each names for itself
# has a name that no other of them has.
function(zent_helpers_together target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>) # meant for headers
endfunction()
