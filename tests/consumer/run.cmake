# cmake -DKESTREL_BUILD=... -DWORK=... -DFOUND_BY=cmake|pkg-config -DGENERATOR=... -DCOMPILER=... -P run.cmake
# Installs the build tree under a fresh prefix, then configures, builds and runs the consumer against it.
function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGV}\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
# Moved after it was installed: nothing installed may remember its first place.
run(${CMAKE_COMMAND} --install ${KESTREL_BUILD} --prefix ${WORK}/first)
file(RENAME ${WORK}/first ${WORK}/prefix)

file(GLOB_RECURSE pc ${WORK}/prefix/*/kestrel.pc)
file(GLOB libraries RELATIVE ${WORK}/prefix/lib ${WORK}/prefix/lib/libkestrel.so*)
get_filename_component(pc_dir "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
unset(ENV{LD_LIBRARY_PATH})

run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DKESTREL_FOUND_BY=${FOUND_BY} -DCMAKE_PREFIX_PATH=${WORK}/prefix -DKESTREL_PREFIX=${WORK}/prefix)
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${WORK}/build/consumer ${WORK}/in.png)
message(STATUS "${output}")
run(${WORK}/build/example ${WORK}/in.png ${WORK}/out.png)

if(EXISTS ${WORK}/build/dialogs)
    set(ENV{QT_QPA_PLATFORM} offscreen)
    run(${WORK}/build/dialogs)
endif()

file(READ ${CMAKE_CURRENT_LIST_DIR}/example.cpp example)
file(READ ${CMAKE_CURRENT_LIST_DIR}/../../README.md readme)
string(FIND "${readme}" "${example}" found)
if(found EQUAL -1)
    message(FATAL_ERROR "the example in README.md is not that of example.cpp")
endif()

file(GLOB_RECURSE headers ${WORK}/prefix/include/*.h)
foreach(header ${headers})
    file(STRINGS ${header} internal REGEX "Not installed")
    if(internal)
        message(FATAL_ERROR "${header} is installed and says that it is not")
    endif()
endforeach()

# A program asks for the library by its versioned name, never by the plain one.
run(objdump -p ${WORK}/build/consumer)
if(NOT output MATCHES "NEEDED +libkestrel\\.so\\.[0-9]+\n")
    message(FATAL_ERROR "the consumer does not ask for a versioned libkestrel:\n${output}")
endif()

# The installed program finds the installed library by itself.
run(${WORK}/prefix/bin/kestrel --version)
if(NOT EXISTS ${WORK}/prefix/share/man/man1/kestrel.1)
    message(FATAL_ERROR "the manual page is not installed")
endif()
