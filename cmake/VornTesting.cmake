# vorn_add_test(NAME SOURCES... LINKS... [LABELS...] [TIMEOUT seconds]): one
# GoogleTest program, registered as one CTest test under the same name. The
# label "core" (the default) marks what also runs under the sanitizers. No test
# sees the proxies of whoever runs it.
find_package(GTest REQUIRED)

set(VORN_NO_PROXIES)
foreach(variable http_proxy https_proxy ftp_proxy all_proxy no_proxy)
  string(TOUPPER ${variable} upper)
  list(APPEND VORN_NO_PROXIES ${variable}=unset: ${upper}=unset:)
endforeach()

function(vorn_add_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  if(NOT ARG_LABELS)
    set(ARG_LABELS core)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE vorn_warnings ${ARG_LINKS} GTest::gmock GTest::gtest GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT}
    ENVIRONMENT_MODIFICATION "${VORN_NO_PROXIES}")
endfunction()
