# What every target of ours has in common.

# Warnings, sanitizers and coverage for one of our targets.
function(xelpush_configure_target target)
    xelpush_enable_warnings(${target})
    xelpush_enable_instrumentation(${target})
endfunction()

# A library of ours from `ARGN`, known to hosts as `alias`; headers are included from the root of the tree.
function(xelpush_add_library target alias)
    add_library(${target} ${ARGN})
    add_library(${alias} ALIAS ${target})
    xelpush_configure_target(${target})
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
endfunction()
