# The one place that knows how a library, a program or a test of this tree is
# compiled. Folders only name their sources and what they may link.

add_library(qolm_compile_options INTERFACE)
target_include_directories(qolm_compile_options INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/src)

# A contracted a*b+c rounds once instead of twice and would change decoded
# pictures from build to build, so no target may contract.
target_compile_options(qolm_compile_options INTERFACE -ffp-contract=off)
target_compile_options(qolm_compile_options INTERFACE -Wall -Wextra -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlaps inside its own std::string (GCC PR 105329).
  target_compile_options(qolm_compile_options INTERFACE -Wno-restrict)
endif()
if(QOLM_WARNINGS_AS_ERRORS)
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

# qolm_add_library(<folder> SOURCES ... [LINKS <folder>...] [PRIVATE_LINKS <target>...])
# makes the static library qolm_<folder>; LINKS are folders, and they are the
# link graph that tools/check_includes.py also holds the includes against.
function(qolm_add_library folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(qolm_${folder} STATIC ${arg_SOURCES})
  target_link_libraries(qolm_${folder} PUBLIC qolm_compile_options)
  foreach(link IN LISTS arg_LINKS)
    target_link_libraries(qolm_${folder} PUBLIC qolm_${link})
  endforeach()
  if(arg_PRIVATE_LINKS)
    target_link_libraries(qolm_${folder} PRIVATE ${arg_PRIVATE_LINKS})
  endif()
endfunction()

# qolm_add_tests(<folder> SOURCES ... [LINKS <target>...])
# makes the GoogleTest program <folder>_tests and registers it with CTest.
function(qolm_add_tests folder)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${folder}_tests ${arg_SOURCES})
  target_include_directories(${folder}_tests PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${folder}_tests PRIVATE ${arg_LINKS} qolm_compile_options GTest::gmock GTest::gtest_main)
  qolm_register_tests(${folder})
endfunction()
