# What every target of ours has in common.

# Warnings, hardening, sanitizers and coverage for one of our targets.
function(xelpush_configure_target target)
    xelpush_enable_warnings(${target})
    xelpush_harden(${target})
    xelpush_enable_instrumentation(${target})
endfunction()

# A library of ours from `ARGN`, known to hosts as `alias`; headers are included from the root of the tree.
function(xelpush_add_library target alias)
    add_library(${target} ${ARGN})
    add_library(${alias} ALIAS ${target})
    xelpush_configure_target(${target})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
        set(exports "${PROJECT_SOURCE_DIR}/cmake/exports.map")
        set_target_properties(
            ${target}
            PROPERTIES VERSION "${PROJECT_VERSION}"
                       SOVERSION "${PROJECT_VERSION_MAJOR}"
                       LINK_DEPENDS "${exports}")
        target_link_options(${target} PRIVATE "LINKER:--version-script=${exports}")
    endif()
    # Nobody replaces our functions from outside, so those of a shared library may be inlined as in an archive. Said
    # for both, and without the macro that tells them apart: then the compiler cache knows one from the other again.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
    set_target_properties(${target} PROPERTIES DEFINE_SYMBOL "")
endfunction()
