# SPDX-License-Identifier: MIT OR GPL-2.0
# The engine is compiled again, for the machine that runs the bench. Loops are aligned to cache lines. Otherwise the
# speed of a loop depends on its address.
add_executable(engine_bench engine_bench.cpp ${IFC_ENGINE_SOURCES})
target_compile_options(engine_bench PRIVATE -O3 -march=native -falign-loops=64)
target_link_libraries(engine_bench PRIVATE ifc_headers ifc_warnings ifc_util ifc_state ifc_host
    ifc_capture benchmark::benchmark)
if(DPDK_FOUND)
    add_library(engine_bench_acl OBJECT engine_bench_acl.cpp)
    target_compile_options(engine_bench_acl PRIVATE -O3 -march=native -falign-loops=64 -include rte_config.h)
    target_include_directories(engine_bench_acl PRIVATE ${PROJECT_SOURCE_DIR})
    target_include_directories(engine_bench_acl SYSTEM PRIVATE ${DPDK_INCLUDE_DIRS})
    target_compile_definitions(engine_bench PRIVATE IFC_HAVE_DPDK)
    target_link_directories(engine_bench PRIVATE ${DPDK_LIBRARY_DIRS})
    target_link_libraries(engine_bench PRIVATE engine_bench_acl rte_acl rte_eal)
endif()
