# vorn_add_test(NAME ...): one CTest test, in one of three forms:
#   SOURCES files LINKS targets [DEFINITIONS names] [UNDER command]
#       a GoogleTest program of that name, run under the command if one is given;
#   PYTEST file [OPTIONS words]
#       a file of Python tests, run by Debian's own Python, which has the modules;
#   COMMAND words
#       any other command.
# [LABELS labels] [TIMEOUT seconds] [ENVIRONMENT NAME=value...] go with each form,
# and [NEEDS targets] with the first: they are built before the program.
#
# A program's label is "core" by default, which also runs under the sanitizers; a
# Python test's is "e2e". A program of the core that needs a bus or another network
# has the label "bus" too; if VORN_BUILD_TESTS is "core", only the other programs of
# the core are made. No test sees the proxies and the language of the user who runs
# it. Tests of a folder of src/ are named after the folder.
if(VORN_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()

set(VORN_NEUTRAL_USER LANG=set:C.UTF-8 LANGUAGE=unset: LC_ALL=unset: LC_MESSAGES=unset:)
foreach(variable http_proxy https_proxy ftp_proxy all_proxy no_proxy)
  string(TOUPPER ${variable} upper)
  list(APPEND VORN_NEUTRAL_USER ${variable}=unset: ${upper}=unset:)
endforeach()

function(vorn_add_test name)
  cmake_parse_arguments(ARG "" "PYTEST;TIMEOUT"
    "SOURCES;LINKS;DEFINITIONS;UNDER;NEEDS;OPTIONS;COMMAND;LABELS;ENVIRONMENT" ${ARGN})
  set(labels core)
  set(timeout 120)
  if(ARG_PYTEST)
    set(labels e2e)
  endif()
  if(ARG_LABELS)
    set(labels ${ARG_LABELS})
  endif()
  if(VORN_BUILD_TESTS STREQUAL "core" AND (NOT "core" IN_LIST labels OR "bus" IN_LIST labels))
    return()
  endif()
  if(ARG_SOURCES)
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE
      vorn_warnings vorn_tests ${ARG_LINKS} GTest::gmock GTest::gtest GTest::gtest_main)
    target_compile_definitions(${name} PRIVATE ${ARG_DEFINITIONS})
    if(ARG_NEEDS)
      add_dependencies(${name} ${ARG_NEEDS})
    endif()
    set(command ${ARG_UNDER} $<TARGET_FILE:${name}>)
  elseif(ARG_PYTEST)
    set(timeout 300)
    set(command /usr/bin/python3 -m pytest -q -p no:cacheprovider ${ARG_OPTIONS}
                ${CMAKE_CURRENT_SOURCE_DIR}/${ARG_PYTEST})
    list(APPEND ARG_ENVIRONMENT PYTHONDONTWRITEBYTECODE=1)
  else()
    set(command ${ARG_COMMAND})
  endif()
  if(ARG_TIMEOUT)
    set(timeout ${ARG_TIMEOUT})
  endif()
  add_test(NAME ${name} COMMAND ${command})
  set_tests_properties(${name} PROPERTIES LABELS "${labels}" TIMEOUT ${timeout} ENVIRONMENT "${ARG_ENVIRONMENT}")
  if(NOT ARG_COMMAND)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT_MODIFICATION "${VORN_NEUTRAL_USER}")
  endif()
endfunction()
