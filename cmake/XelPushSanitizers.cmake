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
    get_target_property(type ${target} TYPE)
    if(XELPUSH_FUZZ AND NOT type STREQUAL "EXECUTABLE")
        # What the fuzzer looks at is the code under test, and not the program that calls it. That each comparison is
        # shown to it too takes a fifth of the time to compile.
        if(XELPUSH_FUZZ STREQUAL "LIGHT")
            list(APPEND compile -fsanitize-coverage=inline-8bit-counters,pc-table)
        else()
            list(APPEND compile -fsanitize=fuzzer-no-link)
        endif()
    endif()
    if(XELPUSH_COVERAGE)
        list(APPEND compile -fprofile-instr-generate -fcoverage-mapping)
        list(APPEND link -fprofile-instr-generate)
    endif()

    target_compile_options(${target} PRIVATE ${compile})
    if(type STREQUAL "EXECUTABLE")
        target_link_options(${target} PRIVATE ${link})
    else()
        # A host that links an instrumented library needs the runtime too.
        target_link_options(${target} PUBLIC ${link})
    endif()
endfunction()
