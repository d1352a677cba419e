# What distributions build their programs and libraries with against faults in memory: guarded stacks, checked copies,
# programs at addresses that nobody can foretell, and tables of addresses that are read-only once the program runs.
#
# Left out of sanitized builds, which look closer and would look past a checked copy, and of Windows, whose compilers and
# linkers guard by other means.

function(xelpush_harden target)
    if(NOT XELPUSH_HARDENING OR XELPUSH_SANITIZE OR XELPUSH_FUZZ OR WIN32)
        return()
    endif()
    target_compile_options(${target} PRIVATE -fstack-protector-strong)
    # The checks take an optimising compiler. A distribution that asks for others by its own flags gets those.
    if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
        set(optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
        if(CMAKE_CXX_FLAGS MATCHES "-O[123s]")
            set(optimised 1)
        endif()
        target_compile_options(${target} PRIVATE "$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    endif()

    get_target_property(type ${target} TYPE)
    get_target_property(is_independent ${target} POSITION_INDEPENDENT_CODE)
    if(type MATCHES "EXECUTABLE|STATIC_LIBRARY" AND NOT is_independent)
        target_compile_options(${target} PRIVATE -fPIE)
    endif()
    if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE -pie)
    endif()
    if(NOT type STREQUAL "STATIC_LIBRARY")
        target_link_options(${target} PRIVATE "LINKER:-z,relro,-z,now")
    endif()
endfunction()
