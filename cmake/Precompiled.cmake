# precompile(TARGET [HEADER...]): compiles once what nearly every file of a target includes, and the given headers. Headers
# of our own are left out, as a change of one would compile everything anew. Only GCC does it: clang, which has to take
# everything too, shows the includes that a file forgot.
function(precompile target)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_precompile_headers(${target} PRIVATE <algorithm> <array> <atomic> <charconv> <cmath> <cstdint> <cstring>
            <functional> <limits> <memory> <mutex> <optional> <span> <string> <string_view> <type_traits> <utility>
            <variant> <vector> <fmt/format.h> ${ARGN})
    endif()
endfunction()

# precompile_as(TARGET OTHER): what is compiled for the other target serves this one, which has the same flags.
function(precompile_as target other)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_precompile_headers(${target} REUSE_FROM ${other})
    endif()
endfunction()

# join(TARGET NAME FILE...): compiles the files as one, which takes half the time where they are small or include the same
# heavy header. Only GCC does it, for the same reason; clang-tidy, which wants a command for each file, switches it off.
option(KESTREL_JOIN "Compile the small files of a folder as one" ON)
function(join target name)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND KESTREL_JOIN)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
        set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${name})
    endif()
endfunction()
