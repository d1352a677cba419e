# Sanitizers and coverage, target by target: a module that a foreign program loads (the broker's plugin)
# must stay free of them.

function(xelpush_enable_instrumentation target)
    set(compile "")
    set(link "")
    if(XELPUSH_SANITIZE)
        # The first report ends the program: a test that printed a fault has failed.
        list(APPEND compile -fsanitize=${XELPUSH_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        list(APPEND link -fsanitize=${XELPUSH_SANITIZE})
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND XELPUSH_SANITIZE MATCHES "address|thread")
            # Both make GCC 12 see uninitialised values inside the standard library that are not there.
            list(APPEND compile -Wno-maybe-uninitialized)
        endif()
    endif()
    if(XELPUSH_FUZZ)
        list(APPEND compile -fsanitize=fuzzer-no-link)
    endif()
    if(XELPUSH_COVERAGE)
        list(APPEND compile --coverage)
        list(APPEND link --coverage)
    endif()

    target_compile_options(${target} PRIVATE ${compile})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE ${link})
    else()
        # A host that links an instrumented library needs the runtime too.
        target_link_options(${target} PUBLIC ${link})
    endif()
endfunction()
