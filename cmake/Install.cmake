# Installs the headers, the libraries, a CMake package and pkg-config files.

include(CMakePackageConfigHelpers)

install(DIRECTORY include/vhdx_parser include/vhdx_disk DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
install(TARGETS vhdx_parser vhdx_disk EXPORT vhdx_parserTargets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT vhdx_parserTargets NAMESPACE vhdx_parser::
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vhdx_parser")

configure_package_config_file(cmake/vhdx_parserConfig.cmake.in
  "${CMAKE_CURRENT_BINARY_DIR}/vhdx_parserConfig.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vhdx_parser")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/vhdx_parserConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${CMAKE_CURRENT_BINARY_DIR}/vhdx_parserConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/vhdx_parserConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/vhdx_parser")

# The pkg-config files say where things lie from where they lie themselves, so that the prefix can be
# moved. A folder that was given as an absolute path is taken as it is.
function(vhdx_parser_pkgconfig_folder result folder)
  if(IS_ABSOLUTE "${folder}")
    set(${result} "${folder}" PARENT_SCOPE)
  else()
    set(${result} "\${prefix}/${folder}" PARENT_SCOPE)
  endif()
endfunction()

vhdx_parser_pkgconfig_folder(VHDX_PARSER_PKGCONFIG_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
vhdx_parser_pkgconfig_folder(VHDX_PARSER_PKGCONFIG_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
file(RELATIVE_PATH VHDX_PARSER_PREFIX_FROM_PKGCONFIG
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
foreach(library IN ITEMS vhdx_parser vhdx_disk)
  configure_file(cmake/${library}.pc.in "${CMAKE_CURRENT_BINARY_DIR}/${library}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${library}.pc"
          DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()

# Programs that are installed beside the library find it there, wherever the prefix is moved.
if(NOT WIN32)
  file(RELATIVE_PATH library_from_program
    "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(CMAKE_INSTALL_RPATH "$ORIGIN/${library_from_program}")
endif()
