# velorix_benchmark(name source...): a Google Benchmark program, called bench_<something>; `make bench`
# runs it, and the tests run each of its cases for a moment so that it keeps working.
function(velorix_benchmark name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE velorix_lib benchmark::benchmark_main velorix_flags)
    target_compile_definitions(${name} PRIVATE VELORIX_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
    if(VELORIX_TESTS)
        add_test(NAME ${name} COMMAND ${name} --benchmark_min_time=0.001)
    endif()
endfunction()
