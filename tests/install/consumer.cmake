# SPDX-License-Identifier: MIT OR GPL-2.0
# Builds and runs the consumer from an empty folder. WAY is `installed` or `subproject`.
file(REMOVE_RECURSE ${WORK})
if(WAY STREQUAL installed)
    execute_process(COMMAND ${CMAKE_COMMAND} --install ${IFC_BUILD} --prefix ${WORK}/prefix
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    set(place -DCMAKE_PREFIX_PATH=${WORK}/prefix)
else()
    set(place -DIFC_SOURCE=${IFC_SOURCE})
endif()
if(SANITIZE)
    list(APPEND place "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=${SANITIZE}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${WORK}/build ${place}
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK}/build OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${WORK}/build/consumer OUTPUT_VARIABLE printed COMMAND_ERROR_IS_FATAL ANY)
if(NOT printed STREQUAL "528 writes, 128 reads\nthe rule has number 8\n")
    message(FATAL_ERROR "the consumer printed '${printed}'")
endif()
# A sub-project must bring neither tests nor tools.
if(EXISTS ${WORK}/build/ifc-tree/tests OR EXISTS ${WORK}/build/ifc-tree/tools)
    message(FATAL_ERROR "the sub-project brought tests or tools along")
endif()
