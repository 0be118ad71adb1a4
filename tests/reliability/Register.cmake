# Adds tests/reliability to a build whose tests/CMakeLists.txt does not list it (yet):
#   cmake --preset dev -B build/reliability -DCMAKE_PROJECT_Velmora_INCLUDE=tests/reliability/Register.cmake
# The folder is included once, after the rest of the tree, so velmora_add_test exists.
function(velmora_add_reliability_tests)
    if(VELMORA_BUILD_TESTS AND NOT TARGET tst_faults)
        include(${CMAKE_SOURCE_DIR}/tests/reliability/CMakeLists.txt)
    endif()
endfunction()
cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL velmora_add_reliability_tests)
