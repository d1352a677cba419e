# Compiles through ccache when it is there. A build that already chose a launcher keeps its own.
#
# The sloppiness is what ccache asks for with precompiled headers: it cannot see the macros inside one, and
# __TIME__ is not used in this project.

if(XELPUSH_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(XELPUSH_CCACHE_PROGRAM ccache)
    mark_as_advanced(XELPUSH_CCACHE_PROGRAM)
    if(XELPUSH_CCACHE_PROGRAM)
        set(CMAKE_CXX_COMPILER_LAUNCHER
            "${CMAKE_COMMAND}" -E env
            "CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime"
            "${XELPUSH_CCACHE_PROGRAM}")
    endif()
endif()
