# Precompiled headers, for the third-party headers that cost more than our own code to compile.

function(xelpush_precompile target)
    if(NOT XELPUSH_PRECOMPILE)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE ${ARGN})
    xelpush_keep_precompiled_cacheable(${target})
endfunction()

# Lets `target` use what `owner` precompiled. Both need the same compile options.
function(xelpush_reuse_precompiled target owner)
    if(NOT XELPUSH_PRECOMPILE)
        return()
    endif()
    target_precompile_headers(${target} REUSE_FROM ${owner})
    xelpush_keep_precompiled_cacheable(${target})
endfunction()

# What ccache needs to recognise a compilation that uses a precompiled header.
function(xelpush_keep_precompiled_cacheable target)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fpch-preprocess)
    elseif(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    endif()
endfunction()
