# Warnings for our own targets. Third-party headers come in as system headers and stay silent.

function(xelpush_enable_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(XELPUSH_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
