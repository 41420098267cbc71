include(GoogleTest)
# velorix_test(name source...): a GoogleTest program whose cases CTest lists one by one.
function(velorix_test name)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE velorix_test_support GTest::gtest_main velorix_flags)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES PROPERTIES TIMEOUT 300)
endfunction()
