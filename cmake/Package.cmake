# What is handed out: install rules, and the Debian package. script/package builds all of it.
set(LIBRARIES "lib/${CMAKE_LIBRARY_ARCHITECTURE}/picturezvk")
set(SHARE "${CMAKE_BINARY_DIR}/share")
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# --- What the tool writes about itself ----------------------------------------------------------
file(MAKE_DIRECTORY "${SHARE}")
set(written)
# written_by_zvk(FILE ARGUMENT...): a file that `zvk ARGUMENT...` prints.
function(written_by_zvk file)
  add_custom_command(OUTPUT "${SHARE}/${file}" VERBATIM DEPENDS zvk PictureZVK
    COMMAND zvk ${ARGN} > "${SHARE}/${file}")
  set(written ${written} "${SHARE}/${file}" PARENT_SCOPE)
endfunction()
written_by_zvk(zvk completion bash)
written_by_zvk(_zvk completion zsh)
written_by_zvk(zvk.fish completion fish)
written_by_zvk(zvk.1 completion man)
add_custom_command(OUTPUT "${SHARE}/REFERENCE.txt" VERBATIM DEPENDS zvk PictureZVK
  COMMAND "${CMAKE_CURRENT_LIST_DIR}/package/reference-text" ${CMAKE_CROSSCOMPILING_EMULATOR}
          $<TARGET_FILE:zvk> > "${SHARE}/REFERENCE.txt"
  DEPENDS "${CMAKE_CURRENT_LIST_DIR}/package/reference-text")
add_custom_command(OUTPUT "${SHARE}/zvk.1.gz" VERBATIM DEPENDS "${SHARE}/zvk.1"
  COMMAND gzip -9nc "${SHARE}/zvk.1" > "${SHARE}/zvk.1.gz")

# --- What a package of Debian's has to say ------------------------------------------------------
set(MAINTAINER "The PictureZVK maintainers <maintainers@users.noreply.c-seed-2e2302d8.example>")
string(TIMESTAMP today "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP year "%Y" UTC)
configure_file("${CMAKE_CURRENT_LIST_DIR}/package/changelog.in" "${SHARE}/changelog" @ONLY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/package/copyright.in" "${SHARE}/copyright.ours" @ONLY)
# Of what is compiled in as headers, the licences ask to be passed on.
set(notices "${SHARE}/copyright.ours")
foreach(package libcli11-dev nlohmann-json3-dev)
  list(APPEND notices "${CMAKE_SYSROOT}/usr/share/doc/${package}/copyright")
endforeach()
add_custom_command(OUTPUT "${SHARE}/copyright" VERBATIM DEPENDS ${notices}
  COMMAND "${CMAKE_COMMAND}" -E cat ${notices} > "${SHARE}/copyright")
foreach(file changelog CHANGELOG.md)
  set(from "${SHARE}/${file}")
  if(file STREQUAL "CHANGELOG.md")
    set(from "${CMAKE_SOURCE_DIR}/${file}")
  endif()
  add_custom_command(OUTPUT "${SHARE}/${file}.gz" VERBATIM DEPENDS "${from}"
    COMMAND gzip -9nc "${from}" > "${SHARE}/${file}.gz")
endforeach()
set(documents "${SHARE}/copyright" "${SHARE}/changelog.gz" "${SHARE}/CHANGELOG.md.gz")

add_custom_target(package_files
  DEPENDS PictureZVK zvk ${written} ${documents} "${SHARE}/zvk.1.gz" "${SHARE}/REFERENCE.txt")

# --- Where it goes ------------------------------------------------------------------------------
# The plug-in by itself.
install(FILES $<TARGET_FILE:PictureZVK> DESTINATION . COMPONENT plugin)
install(FILES "${SHARE}/REFERENCE.txt" "${CMAKE_SOURCE_DIR}/CHANGELOG.md" "${CMAKE_SOURCE_DIR}/docs/install.md"
        DESTINATION . COMPONENT plugin)

if(ZVK_SPLIT_SYMBOLS)
  install(FILES "$<TARGET_FILE:PictureZVK>.debug" "$<TARGET_FILE:zvk>.debug"
          DESTINATION . COMPONENT symbols)
endif()

# The tool looks for its plug-in beside itself, so the two lie in one folder; the link is what is
# on the path.
install(PROGRAMS $<TARGET_FILE:zvk> DESTINATION "${LIBRARIES}" COMPONENT tool)
install(FILES $<TARGET_FILE:PictureZVK> DESTINATION "${LIBRARIES}" COMPONENT tool)
file(MAKE_DIRECTORY "${SHARE}/bin")
file(CREATE_LINK "../${LIBRARIES}/zvk" "${SHARE}/bin/zvk" SYMBOLIC)
install(FILES "${SHARE}/bin/zvk" DESTINATION bin COMPONENT tool)
install(FILES "${SHARE}/zvk.1.gz" DESTINATION share/man/man1 COMPONENT tool)
install(FILES "${SHARE}/zvk" DESTINATION share/bash-completion/completions COMPONENT tool)
install(FILES "${SHARE}/_zvk" DESTINATION share/zsh/vendor-completions COMPONENT tool)
install(FILES "${SHARE}/zvk.fish" DESTINATION share/fish/vendor_completions.d COMPONENT tool)
install(FILES ${documents} DESTINATION share/doc/zvk COMPONENT tool)
install(DIRECTORY "${CMAKE_SOURCE_DIR}/docs/" DESTINATION share/doc/zvk COMPONENT tool
        PATTERN site EXCLUDE PATTERN scene EXCLUDE)

# --- The Debian package -------------------------------------------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zvk)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "${MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "tries the PictureZVK picture-processing plug-in out")
set(CPACK_PACKAGE_DESCRIPTION
"PictureZVK is a plug-in that adds picture processing to the BASIC dialect of
its host: tone, colours, masks, search, waveforms, sepia and 3D colour tables.
.
zvk loads it into a stand-in host, applies its calls to picture files, one or
many at a time, and explains and checks everything that it declares. This
package brings the tool, a plug-in for it and the reference.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_CMAKE_PROJECTS "${CMAKE_BINARY_DIR};PictureZVK;tool;/")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
# Opened when first needed, if they are there.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libchafa0, libgdk-pixbuf-2.0-0, libsndfile1")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libgtk2.0-0")
if(CMAKE_CROSSCOMPILING)
  # dpkg knows nothing of the sysroot; the packages are those of the native build.
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "$ENV{ZVK_PACKAGE_DEPENDS}")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
endif()
include(CPack)
