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
