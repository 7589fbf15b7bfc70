# SPDX-License-Identifier: MIT
#
# GoogleTest, and how its programs become entries of CTest.

set(QOLM_GOOGLETEST_SOURCE "" CACHE PATH
  "GoogleTest's sources, for a build that finds no ready library of it")

if(QOLM_GOOGLETEST_SOURCE)
  set(INSTALL_GTEST OFF)
  add_subdirectory(${QOLM_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)

# qolm_register_tests(<folder>): every case of <folder>_tests is an entry. Under
# an emulator, whose start takes longer than most cases, the whole program is
# one; its cases are in test-reports/<folder>.xml.
function(qolm_register_tests folder)
  if(CMAKE_CROSSCOMPILING)
    set(reports ${CMAKE_BINARY_DIR}/test-reports)
    file(MAKE_DIRECTORY ${reports})
    add_test(NAME ${folder}_tests
      COMMAND ${folder}_tests --gtest_brief=1 --gtest_output=xml:${folder}.xml
      WORKING_DIRECTORY ${reports})
    set_tests_properties(${folder}_tests PROPERTIES FIXTURES_REQUIRED wine)
  else()
    gtest_discover_tests(${folder}_tests TEST_PREFIX ${folder}. DISCOVERY_TIMEOUT 60)
  endif()
endfunction()

# qolm_repeat_under_nohup(<folder> <filter>)
# runs a folder's tests of signals once more as nohup and services start programs:
# with signals ignored. Only on POSIX systems.
function(qolm_repeat_under_nohup folder filter)
  add_test(NAME ${folder}.ignored_signals
    COMMAND sh -c "trap '' HUP INT TERM PIPE XFSZ; exec \"$0\" \"$1\""
      $<TARGET_FILE:${folder}_tests> --gtest_filter=${filter})
endfunction()
