# SPDX-License-Identifier: MIT
#
# The one place that knows how a library, a program or a test of this tree is
# compiled. Folders only name their sources and what they may link.

# The folder of src/platform/ with the code of the system that is built for.
set(QOLM_SYSTEM posix)
if(WIN32)
  set(QOLM_SYSTEM windows)
endif()

add_library(qolm_compile_options INTERFACE)
target_include_directories(qolm_compile_options INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/src)

# A contracted a*b+c rounds once instead of twice and would change decoded
# pictures from build to build, so no target may contract.
if(MSVC)
  target_compile_options(qolm_compile_options INTERFACE /fp:precise /W4 /utf-8 /permissive-)
  target_compile_definitions(qolm_compile_options INTERFACE NOMINMAX)
else()
  target_compile_options(qolm_compile_options INTERFACE -ffp-contract=off)
  target_compile_options(qolm_compile_options INTERFACE -Wall -Wextra -Wconversion)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86)$" AND NOT MSVC)
  # The x87 registers keep more bits than a float has and would round twice.
  target_compile_options(qolm_compile_options INTERFACE -msse2 -mfpmath=sse)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlaps inside its own std::string (GCC PR 105329).
  target_compile_options(qolm_compile_options INTERFACE -Wno-restrict)
endif()
if(QOLM_WARNINGS_AS_ERRORS AND NOT MSVC)
  target_compile_options(qolm_compile_options INTERFACE -Werror)
endif()
if(QOLM_SANITIZERS)
  target_compile_options(qolm_compile_options INTERFACE
    -fsanitize=${QOLM_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(qolm_compile_options INTERFACE -fsanitize=${QOLM_SANITIZERS})
  if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # The instrumentation itself keeps loops from becoming vectors.
    target_compile_options(qolm_compile_options INTERFACE -Wno-pass-failed)
  endif()
endif()
if(QOLM_BUILD_FUZZERS)
  # Every object reports what it covers; libFuzzer's own main is linked to the
  # fuzzers alone.
  target_compile_options(qolm_compile_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(qolm_compile_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Folders whose loops run over samples. Reporting their comparisons to libFuzzer,
# most of which the sanitizers put there, takes longer than the loops themselves.
set(QOLM_SAMPLE_FOLDERS entropy video audio encoder)

# What the files of the AVX2 variants are compiled with, and no others.
set(QOLM_AVX2_OPTIONS -mavx2)
if(MSVC)
  set(QOLM_AVX2_OPTIONS /arch:AVX2)
elseif(MINGW)
  # GCC cannot align the stack to 32 bytes on Windows (GCC PR 54412), so no move
  # between it and a wide register may trust an alignment.
  list(APPEND QOLM_AVX2_OPTIONS -Wa,-muse-unaligned-vector-move)
endif()

# qolm_add_library(<folder> SOURCES ... [LINKS <folder>...] [PRIVATE_LINKS <target>...])
# makes the static library qolm_<folder>, with _ for each / of a folder's path;
# LINKS are folders, and they are the link graph that tools/check_includes.py also
# holds the includes against.
function(qolm_add_library folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  string(REPLACE "/" "_" library qolm_${folder})
  add_library(${library} STATIC ${arg_SOURCES})
  target_link_libraries(${library} PUBLIC qolm_compile_options)
  foreach(link IN LISTS arg_LINKS)
    string(REPLACE "/" "_" link ${link})
    target_link_libraries(${library} PUBLIC qolm_${link})
  endforeach()
  if(arg_PRIVATE_LINKS)
    target_link_libraries(${library} PRIVATE ${arg_PRIVATE_LINKS})
  endif()
  string(REGEX REPLACE "/.*" "" top_folder ${folder})
  if(QOLM_BUILD_FUZZERS AND top_folder IN_LIST QOLM_SAMPLE_FOLDERS)
    target_compile_options(${library} PRIVATE -fno-sanitize-coverage=trace-cmp)
  endif()
endfunction()

# qolm_add_program(<name> DESCRIPTION <text> SOURCES ... LINKS <folder>...)
# makes a command program; its sources define ProgramMain, and src/platform/ calls it.
function(qolm_add_program program)
  cmake_parse_arguments(arg "" "DESCRIPTION" "SOURCES;LINKS" ${ARGN})
  set(platform ${PROJECT_SOURCE_DIR}/src/platform)
  add_executable(${program} ${arg_SOURCES} ${platform}/${QOLM_SYSTEM}/main.cpp)
  target_link_libraries(${program} PRIVATE qolm_compile_options)
  foreach(link IN LISTS arg_LINKS)
    target_link_libraries(${program} PRIVATE qolm_${link})
  endforeach()
  if(WIN32)
    set(description "${arg_DESCRIPTION}")
    configure_file(${platform}/windows/program.manifest.in ${program}.manifest @ONLY)
    configure_file(${platform}/windows/program.rc.in ${program}.rc @ONLY)
    target_sources(${program} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc)
    set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${program}.rc
      PROPERTY OBJECT_DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${program}.manifest)
  endif()
  if(MINGW)
    target_link_options(${program} PRIVATE -municode $<$<CONFIG:Release>:-s>)
  endif()
endfunction()

# qolm_set_test_options(<target>): what every test program, and what tests share, is
# compiled with. All but the owner reuse its precompiled headers.
function(qolm_set_test_options target)
  # What tests include takes longer to compile than the tests, so several share it.
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE qolm_compile_options GTest::gmock GTest::gtest)
  if(NOT MSVC)
    # What is under test keeps the optimisation of its build; of the tests
    # themselves more of it, and more than line numbers, would only take time
    # to compile: a third of the whole build's.
    target_compile_options(${target} PRIVATE -O1 $<$<CONFIG:RelWithDebInfo>:-g1>)
    # Without this ccache cannot see what a precompiled header was made of.
    target_compile_options(${target} PRIVATE
      $<IF:$<CXX_COMPILER_ID:GNU>,-fpch-preprocess,SHELL:-Xclang -fno-pch-timestamp>)
    if(NOT target STREQUAL qolm_test_support)
      target_precompile_headers(${target} REUSE_FROM qolm_test_support)
    endif()
  endif()
endfunction()

# qolm_add_tests(<folder> SOURCES ... [LINKS <target>...])
# makes the GoogleTest program <folder>_tests and registers it with CTest.
function(qolm_add_tests folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${folder}_tests ${arg_SOURCES})
  target_link_libraries(${folder}_tests PRIVATE ${arg_LINKS} qolm_test_support GTest::gtest_main)
  qolm_set_test_options(${folder}_tests)
  qolm_register_tests(${folder})
endfunction()
