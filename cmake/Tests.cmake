# GoogleTest from its sources, in every build with that build's own flags, and how test programs are registered.

# For the tests and what comes after them: names and lines of functions are all that a failure needs, and the rest takes a
# third of the time to compile and most of a program's size. TOVIX_TEST_OPTIONS has what else they are compiled with.
add_compile_options(-g1 ${TOVIX_TEST_OPTIONS})

set(TOVIX_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Folder of GoogleTest's sources")
set(BUILD_GMOCK OFF CACHE INTERNAL "")
set(INSTALL_GTEST OFF CACHE INTERNAL "")
add_subdirectory(${TOVIX_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)

# tovix_discover(TARGET FILTER LABEL): registers those tests of the program that GoogleTest's FILTER takes.
function(tovix_discover target filter label)
    gtest_discover_tests(${target} TEST_FILTER ${filter} NO_PRETTY_VALUES DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS ${label} TIMEOUT 300)
endfunction()

# tovix_add_tests(TARGET LABEL): registers every test of the program under LABEL; suites that begin with ChainSlots or
# have HandOver in their names under LABEL-handover, and of the others those that end in Slow under LABEL-slow. ctest -L
# and -LE take any part of a label.
function(tovix_add_tests target label)
    tovix_own_target(${target})
    target_link_libraries(${target} PRIVATE GTest::gtest_main)
    set(handover *HandOver*.*:ChainSlots*.*)
    tovix_discover(${target} ${handover} ${label}-handover)
    tovix_discover(${target} *Slow.*-${handover} ${label}-slow)
    tovix_discover(${target} -*Slow.*:${handover} ${label})
endfunction()
