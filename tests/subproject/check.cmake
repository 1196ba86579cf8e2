# Builds and runs clients in a project that has the sources of the library in a folder.
include(${CMAKE_CURRENT_LIST_DIR}/../client/run.cmake)
file(REMOVE_RECURSE ${SCRATCH})
run(COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${CMAKE_CURRENT_LIST_DIR} -B ${SCRATCH} -DVOX=${VOX} -DVOX_QT=${QT}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER} "-DCMAKE_CXX_FLAGS=${FLAGS}")
run(COMMAND ${CMAKE_COMMAND} --build ${SCRATCH})
run(COMMAND ${SCRATCH}/client OUTPUT "^800A1B2\n$")
run(COMMAND ${SCRATCH}/simulated OUTPUT "^TB60LV: delay 250 00A1B2\n$")
run(COMMAND ${SCRATCH}/namesakes OUTPUT "^janitor 3 8000101\n$")
run(COMMAND ${CMAKE_COMMAND} --install ${SCRATCH} --prefix ${SCRATCH}/installed)
if(EXISTS ${SCRATCH}/installed/include)
    message(FATAL_ERROR "the library is installed with the project around it")
endif()
