# hotkey_use_debian_headers(target CLI nlohmann ...): header-only libraries of Debian's packages for the cross build.
# /usr/include itself must stay off the include path (it holds the native C library), so only the named folders are
# linked into a folder of their own. HOTKEY_HEADERS_DIR points elsewhere on Windows.
set(HOTKEY_HEADERS_DIR /usr/include CACHE PATH "Folder that holds CLI/, nlohmann/, spdlog/ and fmt/")

function(hotkey_use_debian_headers target)
    foreach(library IN LISTS ARGN)
        if(NOT EXISTS ${HOTKEY_HEADERS_DIR}/${library})
            message(FATAL_ERROR "The headers of ${library} are not in ${HOTKEY_HEADERS_DIR}: install Debian's package "
                "(libcli11-dev, nlohmann-json3-dev, libspdlog-dev, libfmt-dev) or set HOTKEY_HEADERS_DIR.")
        endif()
        if(CMAKE_HOST_WIN32)
            target_include_directories(${target} SYSTEM PRIVATE ${HOTKEY_HEADERS_DIR})
        else()
            file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/headers)
            file(CREATE_LINK ${HOTKEY_HEADERS_DIR}/${library} ${PROJECT_BINARY_DIR}/headers/${library} SYMBOLIC)
            target_include_directories(${target} SYSTEM PRIVATE ${PROJECT_BINARY_DIR}/headers)
        endif()
    endforeach()
endfunction()
