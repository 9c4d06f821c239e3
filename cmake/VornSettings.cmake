# Every target of ours links these two interface targets, and no other target
# does. One says how code is compiled (settings), the other turns warnings on.

set(VORN_SANITIZE "none" CACHE STRING "Sanitizers to build with: none, address (with undefined) or thread")
set_property(CACHE VORN_SANITIZE PROPERTY STRINGS none address thread)
option(VORN_WERROR "Treat warnings as errors (developers and CI; packagers leave it off)" OFF)

add_library(vorn_settings INTERFACE)
target_compile_features(vorn_settings INTERFACE cxx_std_20)
target_compile_definitions(vorn_settings INTERFACE _FILE_OFFSET_BITS=64)
# Functions that nothing calls stay out of the programs, and so out of their
# memory.
target_compile_options(vorn_settings INTERFACE -ffunction-sections -fdata-sections)
target_link_options(vorn_settings INTERFACE -Wl,--gc-sections)

if(VORN_SANITIZE STREQUAL "address")
  target_compile_options(vorn_settings INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=undefined
                                                 -fno-omit-frame-pointer)
  target_link_options(vorn_settings INTERFACE -fsanitize=address,undefined)
elseif(VORN_SANITIZE STREQUAL "thread")
  target_compile_options(vorn_settings INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(vorn_settings INTERFACE -fsanitize=thread)
elseif(NOT VORN_SANITIZE STREQUAL "none")
  message(FATAL_ERROR "VORN_SANITIZE must be none, address or thread, not '${VORN_SANITIZE}'")
endif()

# Hardening, unless a sanitizer instruments the code. A distribution's own
# hardening flags override these. Its other flags are added.
if(VORN_SANITIZE STREQUAL "none")
  if(NOT CMAKE_CXX_FLAGS MATCHES "stack-protector")
    target_compile_options(vorn_settings INTERFACE -fstack-protector-strong)
  endif()
  if(NOT CMAKE_EXE_LINKER_FLAGS MATCHES "-z,?(now|lazy|norelro)")
    target_link_options(vorn_settings INTERFACE -Wl,-z,relro,-z,now)
  endif()
  if("${CMAKE_BUILD_TYPE} ${CMAKE_CXX_FLAGS}" MATCHES "Rel|-O[1-9s]" AND NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    target_compile_options(vorn_settings INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  endif()
endif()

add_library(vorn_warnings INTERFACE)
target_compile_options(vorn_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Wundef)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3 these compilers report a copy within itself wherever a literal and a
  # string are joined.
  target_compile_options(vorn_warnings INTERFACE -Wno-restrict)
endif()
if(VORN_WERROR)
  target_compile_options(vorn_warnings INTERFACE -Werror)
endif()

# vorn_prefer_size(TARGET): compiles for small code instead of fast code,
# because the time is spent elsewhere. The flag comes after the build type's
# flags, and the last flag counts. A distribution's own -O stays.
function(vorn_prefer_size target)
  if(VORN_SANITIZE STREQUAL "none" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT CMAKE_CXX_FLAGS MATCHES "-O")
    target_compile_options(${target} PRIVATE -Os)
  endif()
endfunction()

# vorn_show_folder(TARGET SCOPE [SHOWS names]): lets includes name the current
# folder by its path below src/, tools/ or the project, and no folder beside it, so
# that the compiler refuses what a layer must not know. The target gets an include
# folder of its own in the build tree, which holds nothing but a link to the folder,
# or links to the headers and folders named where other libraries lie in it too.
function(vorn_show_folder target scope)
  cmake_parse_arguments(ARG "" "" "SHOWS" ${ARGN})
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  string(REGEX REPLACE "^(src|tools)/" "" folder ${folder})
  set(include ${PROJECT_BINARY_DIR}/include/${target})
  file(REMOVE_RECURSE ${include})
  if(ARG_SHOWS)
    file(MAKE_DIRECTORY ${include}/${folder})
    foreach(name ${ARG_SHOWS})
      file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${name} ${include}/${folder}/${name} SYMBOLIC)
    endforeach()
  else()
    cmake_path(GET folder PARENT_PATH parent)
    file(MAKE_DIRECTORY ${include}/${parent})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include}/${folder} SYMBOLIC)
  endif()
  target_include_directories(${target} ${scope} ${include})
endfunction()

# vorn_add_library(NAME [SOURCES files] [LINKS targets] [PRIVATE_LINKS targets]
# [SHOWS names]): a static library of ours in the current folder, or one of headers
# alone. Whoever links it sees what it shows (vorn_show_folder) and what its LINKS
# show.
function(vorn_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS;SHOWS" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC vorn_settings ${ARG_LINKS} PRIVATE vorn_warnings ${ARG_PRIVATE_LINKS})
    vorn_show_folder(${name} PUBLIC SHOWS ${ARG_SHOWS})
  else()
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE vorn_settings ${ARG_LINKS})
    vorn_show_folder(${name} INTERFACE SHOWS ${ARG_SHOWS})
  endif()
endfunction()
