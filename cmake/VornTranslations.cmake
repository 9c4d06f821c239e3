# The languages of the programs. English is the language of the sources. Its
# catalogues have its plural forms, and they keep a second language of the user
# from being used in its place.
set(VORN_LANGUAGES en de)

# vorn_embed_catalogues(TARGET): puts the application's catalogues into the
# target. They need no folder, so the program speaks the user's language from the
# build tree too. The tool is the build machine's, also in a cross build.
function(vorn_embed_catalogues target)
  find_program(VORN_LRELEASE NAMES lrelease lrelease6 lrelease-qt6 lrelease-qt5
    HINTS ${QT_HOST_PATH}/lib/qt6/bin ${QT6_INSTALL_PREFIX}/${QT6_INSTALL_BINS}
    DOC "The compiler of Qt's translations" REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/translations)
  file(MAKE_DIRECTORY ${folder})
  foreach(language ${VORN_LANGUAGES})
    set(source ${PROJECT_SOURCE_DIR}/translations/vorn-device-finder_${language}.ts)
    set(catalogue ${folder}/vorn-device-finder_${language}.qm)
    add_custom_command(OUTPUT ${catalogue}
      COMMAND ${VORN_LRELEASE} -silent ${source} -qm ${catalogue}
      DEPENDS ${source} VERBATIM)
    list(APPEND catalogues ${catalogue})
  endforeach()
  qt_add_resources(${target} catalogues PREFIX /vorn/translations BASE ${folder} OPTIONS --compress-algo zlib
    FILES ${catalogues})
endfunction()

# vorn_install_catalogues(TARGET): installs the terminal program's catalogues. They
# are built with the target, into the folder of the build tree that matches the
# installed one.
function(vorn_install_catalogues target)
  find_program(VORN_MSGFMT msgfmt DOC "The compiler of gettext's translations" REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  foreach(language ${VORN_LANGUAGES})
    set(source ${PROJECT_SOURCE_DIR}/translations/vorn-device-list_${language}.po)
    set(folder ${PROJECT_BINARY_DIR}/bin/${VORN_CATALOGUE_FOLDER}/${language}/LC_MESSAGES)
    cmake_path(NORMAL_PATH folder)
    set(catalogue ${folder}/vorn-device-list.mo)
    file(MAKE_DIRECTORY ${folder})
    add_custom_command(OUTPUT ${catalogue}
      COMMAND ${VORN_MSGFMT} --check-format -o ${catalogue} ${source}
      DEPENDS ${source} VERBATIM)
    target_sources(${target} PRIVATE ${catalogue})
    install(FILES ${catalogue} DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
  endforeach()
endfunction()
