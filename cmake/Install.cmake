# What `cmake --install` puts where GNUInstallDirs says, in the components that Packaging.cmake makes
# packages of: runtime and pipeline (a shared library each), development (what a compiler needs),
# tools (the command); python is for a package alone.

include(CMakePackageConfigHelpers)

# ---- The libraries ------------------------------------------------------------------------------

install(TARGETS KXCMS EXPORT KXCMSTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS KXPipeline EXPORT KXCMSTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT pipeline NAMELINK_COMPONENT development)
foreach(library KXCMS KXPipeline)
  target_include_directories(${library} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

# ---- Headers ------------------------------------------------------------------------------------

# Those that declare the exported interface. They find one another by relative paths, so the rooms
# keep their places below kxcms/. Some only forward: a header that was installed keeps its path when
# its source moves.
set(public_headers
  base/KxApi.h
  codes/CodeLists.h codes/ColorCodes.h codes/ResultCodes.h
  colormath/CLCH.h colormath/ColorFormulas.h colormath/RgbMatrices.h
  engine/CIccEngineS.h engine/Info.h
  iccfile/CChad.h iccfile/CCurveType.h iccfile/CDataType.h iccfile/CLut.h iccfile/CLut16Type.h
  iccfile/CLut8Type.h iccfile/CTextDescriptionType.h iccfile/CTextType.h iccfile/CXYZType.h
  iccfile/IccFile4.h iccfile/IccHeader.h iccfile/iccTagBase.h
  interface/ColorCodes.h interface/EngineSlots.h interface/KxApi.h interface/ResultCodes.h
  tiff/BitsPerSampleTag.h tiff/CTiff.h tiff/Exif_IFD_Tag.h tiff/ResolutionTag.h tiff/Tiff.h
  tiff/TiffCodes.h tiff/TiffTag.h
  units/Base.h units/ColorTable33.h units/ColorTable34.h units/ColorTable36.h units/ColorTable37.h
  units/Info.h units/InputTable33.h units/InputTable34.h units/InputTable36.h units/InputTable37.h
  units/InputTable43.h units/OutputTable33.h)
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH room)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kxcms/${room}
    COMPONENT development)
endforeach()
install(FILES interface/kxcms.h api/pipeline.h api/pipeline.hpp
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kxcms
  COMPONENT development)

# ---- pkg-config and CMake -----------------------------------------------------------------------

# Paths are relative to the file itself, so that an installed tree can be moved.
file(RELATIVE_PATH KXCMS_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH KXCMS_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH KXCMS_PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" KXCMS_PC_PREFIX "${KXCMS_PC_PREFIX}")
foreach(name kxcms kxcms-pipeline)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

set(cmake_package ${CMAKE_INSTALL_LIBDIR}/cmake/KXCMS)
install(EXPORT KXCMSTargets NAMESPACE KXCMS:: DESTINATION ${cmake_package} COMPONENT development)
write_basic_package_version_file(KXCMSConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES cmake/KXCMSConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/KXCMSConfigVersion.cmake
  DESTINATION ${cmake_package} COMPONENT development)

# ---- The command --------------------------------------------------------------------------------

if(TARGET kxcms)
  install(TARGETS kxcms RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

  # What completes its commands in shells, as the command itself prints it. The file of zsh stands
  # where packages put theirs, or where zsh looks for those of people.
  set(completion ${CMAKE_CURRENT_BINARY_DIR}/completion)
  file(MAKE_DIRECTORY ${completion})
  foreach(shell bash zsh)
    add_custom_command(OUTPUT ${completion}/${shell}
      COMMAND kxcms --completion ${shell} > ${completion}/${shell}
      DEPENDS kxcms
      VERBATIM)
  endforeach()
  add_custom_target(completion ALL DEPENDS ${completion}/bash ${completion}/zsh)
  install(FILES ${completion}/bash RENAME kxcms
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tools)
  set(zsh_folder site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_folder vendor-completions)
  endif()
  install(FILES ${completion}/zsh RENAME _kxcms
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/zsh/${zsh_folder} COMPONENT tools)
  # What the lines of a batch's journal are held against.
  install(FILES docs/journal.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/kxcms COMPONENT tools)
endif()

# ---- Manual pages -------------------------------------------------------------------------------

find_program(KXCMS_SCDOC scdoc)
find_program(KXCMS_GZIP gzip)
mark_as_advanced(KXCMS_SCDOC KXCMS_GZIP)

# Makes man/PAGE.scd a compressed manual page, with a link for every further name.
function(kxcms_man_page page component)
  cmake_path(GET page EXTENSION LAST_ONLY extension)
  string(SUBSTRING ${extension} 1 -1 section)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/man)
  set(pages ${folder}/${page}.gz)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(OUTPUT ${folder}/${page}.gz
    COMMAND ${KXCMS_SCDOC} < ${CMAKE_CURRENT_SOURCE_DIR}/man/${page}.scd > ${folder}/${page}
    COMMAND ${KXCMS_GZIP} -9nf ${folder}/${page}
    DEPENDS man/${page}.scd
    VERBATIM)
  add_custom_target(man_${page} ALL DEPENDS ${folder}/${page}.gz)
  foreach(name IN LISTS ARGN)
    file(CREATE_LINK ${page}.gz ${folder}/${name}.${section}.gz SYMBOLIC)
    list(APPEND pages ${folder}/${name}.${section}.gz)
  endforeach()
  install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()

if(KXCMS_SCDOC AND KXCMS_GZIP)
  file(STRINGS interface/kxcms.h declarations REGEX "^KX_C_API int KX_Icc_")
  list(TRANSFORM declarations REPLACE "^KX_C_API int (KX_Icc_[A-Za-z0-9_]+).*" "\\1")
  kxcms_man_page(kxcms.3 development ${declarations})
  file(STRINGS api/pipeline.h declarations REGEX "^KXP_API ")
  list(TRANSFORM declarations REPLACE "^[^(]*(kxp_[a-z0-9_]+)\\(.*" "\\1")
  kxcms_man_page(kxcms-pipeline.3 development ${declarations})
  if(TARGET kxcms)
    # A page for each command.
    file(GLOB command_pages RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}/man CONFIGURE_DEPENDS man/*.1.scd)
    foreach(page IN LISTS command_pages)
      cmake_path(REMOVE_EXTENSION page LAST_ONLY)
      kxcms_man_page(${page} tools)
    endforeach()
  endif()
else()
  message(STATUS "Manual pages left out: scdoc or gzip not found")
endif()
