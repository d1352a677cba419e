# What `cmake --install` puts where, for find_package(XelPushClient), pkg-config and the packages.
#
# Three components: library (shared libraries), development (headers, archives, CMake and pkg-config files), tools
# (the xelpush command and what it needs).

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(XELPUSH_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/XelPushClient")
# Beside the libraries: the local push service's broker loads it, nothing links it.
set(XELPUSH_PLUGIN_DIR "${CMAKE_INSTALL_LIBDIR}/xelpush")

# Installs a library, its public headers (`ARGN`, seen from the root of the tree), and what find_package needs to know of
# it. `name` is what follows "XelPushClient::".
function(xelpush_install_library target name)
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    list(TRANSFORM ARGN PREPEND "${PROJECT_SOURCE_DIR}/" OUTPUT_VARIABLE headers)
    target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${headers})
    target_include_directories(${target} INTERFACE "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    install(
        TARGETS ${target}
        EXPORT XelPushClient${name}
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
        FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
    install(
        EXPORT XelPushClient${name}
        FILE XelPushClient${name}Targets.cmake
        NAMESPACE XelPushClient::
        DESTINATION "${XELPUSH_CMAKE_DIR}"
        COMPONENT development)
endfunction()

# Sets what a pkg-config file says of its folders: they are found from where the file itself lies, wherever the tree was
# installed or moved to. A folder that was configured as an absolute one stays that.
function(xelpush_set_pkgconfig_folders)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
        set(pc_prefix "${CMAKE_INSTALL_PREFIX}" PARENT_SCOPE)
    else()
        file(RELATIVE_PATH upward "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
        string(REGEX REPLACE "/$" "" upward "${upward}")
        set(pc_prefix "\${pcfiledir}/${upward}" PARENT_SCOPE)
    endif()
    foreach(folder IN ITEMS LIBDIR INCLUDEDIR)
        string(TOLOWER "pc_${folder}" variable)
        if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
            set(${variable} "${CMAKE_INSTALL_${folder}}" PARENT_SCOPE)
        else()
            set(${variable} "\${prefix}/${CMAKE_INSTALL_${folder}}" PARENT_SCOPE)
        endif()
    endforeach()
endfunction()

# A pkg-config file: its name, what it is, what it links, and the packages and libraries behind that.
function(xelpush_install_pkgconfig name)
    cmake_parse_arguments(PARSE_ARGV 1 pc "" "DESCRIPTION;LIBRARY" "REQUIRES;PRIVATE_PACKAGES;PRIVATE_LIBRARIES")
    if(BUILD_SHARED_LIBS)
        set(private "")
        set(private_libraries "")
        list(JOIN pc_REQUIRES ", " requires)
    else()
        # An archive does not know what it needs: whoever links it must.
        list(JOIN pc_PRIVATE_LIBRARIES " " private_libraries)
        list(APPEND pc_REQUIRES ${pc_PRIVATE_PACKAGES})
        list(JOIN pc_REQUIRES ", " requires)
    endif()
    xelpush_set_pkgconfig_folders()
    configure_file("${PROJECT_SOURCE_DIR}/cmake/xelpushclient.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
    install(
        FILES "${PROJECT_BINARY_DIR}/${name}.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT development)
endfunction()

function(xelpush_install_package_config)
    configure_package_config_file(
        "${PROJECT_SOURCE_DIR}/cmake/XelPushClientConfig.cmake.in" "${PROJECT_BINARY_DIR}/XelPushClientConfig.cmake"
        INSTALL_DESTINATION "${XELPUSH_CMAKE_DIR}")
    write_basic_package_version_file(
        "${PROJECT_BINARY_DIR}/XelPushClientConfigVersion.cmake"
        COMPATIBILITY SameMajorVersion)
    install(
        FILES "${PROJECT_BINARY_DIR}/XelPushClientConfig.cmake"
              "${PROJECT_BINARY_DIR}/XelPushClientConfigVersion.cmake"
        DESTINATION "${XELPUSH_CMAKE_DIR}"
        COMPONENT development)
endfunction()
