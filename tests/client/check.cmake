# Installs the build, and builds and runs clients against what was installed.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

set(prefix ${SCRATCH}/prefix)
set(moved ${SCRATCH}/moved)
file(REMOVE_RECURSE ${SCRATCH})
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# What is installed has to work from anywhere.
file(RENAME ${prefix} ${moved})

set(client_says "^800A1B2\n$")
set(simulated_says "^TB60LV: delay 250 00A1B2\n$")
set(namesakes_says "^janitor 3 8000101\n$")

# With the generator of the build that is tested: its program is there.
run(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${CMAKE_CURRENT_LIST_DIR} -B ${SCRATCH}/cmake -DPACKAGE=${PACKAGE}
    -DCMAKE_PREFIX_PATH=${moved} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${FLAGS}")
run(COMMAND ${CMAKE_COMMAND} --build ${SCRATCH}/cmake)
run(COMMAND ${SCRATCH}/cmake/client OUTPUT ${client_says})
run(COMMAND ${SCRATCH}/cmake/simulated OUTPUT ${simulated_says})
run(COMMAND ${SCRATCH}/cmake/namesakes OUTPUT ${namesakes_says})
run(COMMAND sh -c "${SCRATCH}/cmake/gateway x: 2>&1 || true" OUTPUT "'x:' is no bus")
# A clock that the program would not read is of no use.
run(COMMAND sh -c "${SCRATCH}/cmake/indirect 2>&1 || true" OUTPUT "link the program itself with Vox::Simulation")

# A host finds each class that is exported under another name than ours in the guide.
file(READ ${CMAKE_CURRENT_LIST_DIR}/../../docs/integrator.md guide)
file(GLOB libraries ${moved}/${LIBDIR}/libvox*.so)
run(COMMAND nm -DC --defined-only ${libraries})
string(REGEX MATCHALL " [TWV] [A-Za-z0-9]+(\\(|::)" names "${output}")
list(REMOVE_DUPLICATES names)
foreach(name IN LISTS names)
    string(REGEX REPLACE " [TWV] ([A-Za-z0-9]+).*" "\\1" name "${name}")
    if(NOT name MATCHES "^(VOX|KVR|HRMv2|std$)" AND NOT guide MATCHES "[ \n]${name}[ \n]")
        message(FATAL_ERROR "${name} is exported, and docs/integrator.md does not name it")
    endif()
endforeach()

set(ENV{PKG_CONFIG_PATH} ${moved}/${LIBDIR}/pkgconfig)
run(COMMAND pkg-config --cflags --libs ${PC})
separate_arguments(vox_flags UNIX_COMMAND "${output}")
separate_arguments(own_flags UNIX_COMMAND "${FLAGS}")
set(compile ${CXX} -std=c++17 -fPIC ${own_flags})
set(link ${vox_flags} -Wl,-rpath,${moved}/${LIBDIR})
run(COMMAND ${compile} ${CMAKE_CURRENT_LIST_DIR}/main.cpp -o ${SCRATCH}/plain ${link})
run(COMMAND ${SCRATCH}/plain OUTPUT ${client_says})
set(namesakes ${CMAKE_CURRENT_LIST_DIR}/namesakes)
run(COMMAND ${compile} -I${namesakes} ${namesakes}/main.cpp -o ${SCRATCH}/plain-namesakes ${link})
run(COMMAND ${SCRATCH}/plain-namesakes OUTPUT ${namesakes_says})
run(COMMAND pkg-config --cflags --libs ${SIMULATION_PC})
separate_arguments(simulation_flags UNIX_COMMAND "${output}")
run(COMMAND ${compile} ${CMAKE_CURRENT_LIST_DIR}/simulated.cpp -o ${SCRATCH}/plain-simulated ${simulation_flags}
    -Wl,-rpath,${moved}/${LIBDIR})
run(COMMAND ${SCRATCH}/plain-simulated OUTPUT ${simulated_says})

run(COMMAND pkg-config --cflags --libs ${NETWORK_PC})
separate_arguments(network_flags UNIX_COMMAND "${output}")
run(COMMAND ${compile} ${CMAKE_CURRENT_LIST_DIR}/../../examples/gateway/main.cpp -o ${SCRATCH}/plain-gateway
    ${network_flags} -pthread -Wl,-rpath,${moved}/${LIBDIR})
run(COMMAND sh -c "${SCRATCH}/plain-gateway x: 2>&1 || true" OUTPUT "'x:' is no bus")

if(EXISTS ${moved}/bin/vox)
    run(COMMAND ${moved}/bin/vox --version OUTPUT "^vox [0-9.]+\n$")
endif()
message(STATUS "clients were built and run by CMake and by pkg-config")
