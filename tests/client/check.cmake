# Installs the build, and builds and runs the client against what was installed.
function(run)
    cmake_parse_arguments(arg "" "OUTPUT" "COMMAND" ${ARGN})
    execute_process(COMMAND ${arg_COMMAND} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE error)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed (${result}): ${arg_COMMAND}\n${output}${error}")
    endif()
    if(arg_OUTPUT AND NOT output MATCHES "${arg_OUTPUT}")
        message(FATAL_ERROR "${arg_COMMAND} printed '${output}', not '${arg_OUTPUT}'")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

set(prefix ${SCRATCH}/prefix)
set(moved ${SCRATCH}/moved)
file(REMOVE_RECURSE ${SCRATCH})
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# What is installed has to work from anywhere.
file(RENAME ${prefix} ${moved})

# With the generator of the build that is tested: its program is there.
run(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${SOURCE} -B ${SCRATCH}/cmake -DCMAKE_PREFIX_PATH=${moved} -DCMAKE_CXX_COMPILER=${CXX}
    "-DCMAKE_CXX_FLAGS=${FLAGS}")
run(COMMAND ${CMAKE_COMMAND} --build ${SCRATCH}/cmake)
run(COMMAND ${SCRATCH}/cmake/client OUTPUT "^800A1B2\n$")

set(ENV{PKG_CONFIG_PATH} ${moved}/${LIBDIR}/pkgconfig)
run(COMMAND pkg-config --cflags --libs vox)
separate_arguments(vox_flags UNIX_COMMAND "${output}")
separate_arguments(own_flags UNIX_COMMAND "${FLAGS}")
run(COMMAND ${CXX} -std=c++17 -fPIC ${own_flags} ${SOURCE}/main.cpp -o ${SCRATCH}/plain ${vox_flags}
    -Wl,-rpath,${moved}/${LIBDIR})
run(COMMAND ${SCRATCH}/plain OUTPUT "^800A1B2\n$")
run(COMMAND ${moved}/bin/vox --version OUTPUT "^vox [0-9.]+\n$")
message(STATUS "the client was built and run by CMake and by pkg-config")
