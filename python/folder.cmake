# Where the Python of Debian looks for packages below the prefix, in `python_folder`, unless that was chosen already: what the
# system's own packages install lies in python3, all else in the folder of the version.
if(NOT python_folder)
    if(CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
        set(python_folder lib/python3/dist-packages)
    else()
        set(python_folder lib/python${python_version}/dist-packages)
    endif()
endif()
if(NOT CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?/?$")
    message(STATUS "Python finds the package with PYTHONPATH=${CMAKE_INSTALL_PREFIX}/${python_folder}")
endif()
