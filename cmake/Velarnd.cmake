# Helpers shared by the subsystem folders. Every folder builds what lies in it,
# so adding a source file never means editing a list somewhere else.

# velarnd_add_library(<target> [DEPENDS <libs>...] [EXCLUDE <files>...])
# A static library of all .cpp files below the calling folder.
function(velarnd_add_library target)
  cmake_parse_arguments(ARG "" "" "DEPENDS;EXCLUDE" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  foreach(excluded ${ARG_EXCLUDE})
    list(REMOVE_ITEM sources "${CMAKE_CURRENT_SOURCE_DIR}/${excluded}")
  endforeach()
  add_library(${target} STATIC ${sources})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} PUBLIC ${ARG_DEPENDS})
endfunction()

# velarnd_add_tests(<name> [THREADED] [DEPENDS <libs>...])
# One GoogleTest executable test_<name> of all .cpp files below the calling
# folder, registered with CTest and labelled <name>. THREADED suites are the
# ones the ThreadSanitizer build (VELARND_THREADED_TESTS_ONLY) keeps.
function(velarnd_add_tests name)
  cmake_parse_arguments(ARG "THREADED" "" "DEPENDS" ${ARGN})
  if(VELARND_THREADED_TESTS_ONLY AND NOT ARG_THREADED)
    return()
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  set(target test_${name})
  add_executable(${target} ${sources})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE ${ARG_DEPENDS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${target}
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 120 LABELS ${name})
endfunction()
