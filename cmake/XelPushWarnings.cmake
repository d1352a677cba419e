# Warnings for our own targets. Third-party headers come in as system headers and stay silent.

function(xelpush_enable_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # GCC 12 sees, once it inlines std::string, copies past its end, and out of the middle of one that moves,
        # that are not there (GCC bugs 105329, 105651). They stay errors where nothing is inlined, in the debug build,
        # and clang looks as well.
        target_compile_options(${target} PRIVATE
            $<$<NOT:$<CONFIG:Debug>>:-Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread>)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_UNITY_BUILD)
        # GCC takes a source that another one includes for a header, where a type of an anonymous namespace would be a fault.
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endif()
    if(XELPUSH_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
