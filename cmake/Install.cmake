include(CMakePackageConfigHelpers)

install(TARGETS cali EXPORT cali_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/cali DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(CALI_BUILD_PROGRAM)
  # The program finds the library beside itself wherever the tree is moved.
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(cali_program PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS cali_program RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(NOT WIN32)
    install(PROGRAMS scripts/slurm/calibrate_units DESTINATION ${CMAKE_INSTALL_DATADIR}/cali/slurm)
  endif()
  if(CALI_GENERATED_DOCS)
    install(FILES ${CALI_GENERATED_DOCS}/cali.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES ${CALI_GENERATED_DOCS}/cali.bash
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME cali)
    install(FILES ${CALI_GENERATED_DOCS}/_cali DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${CALI_GENERATED_DOCS}/cali.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
endif()

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/cali)
install(EXPORT cali_targets NAMESPACE cali:: DESTINATION ${config_dir} FILE caliTargets.cmake)
configure_package_config_file(cmake/caliConfig.cmake.in ${PROJECT_BINARY_DIR}/caliConfig.cmake
  INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/caliConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/caliConfig.cmake ${PROJECT_BINARY_DIR}/caliConfigVersion.cmake
  DESTINATION ${config_dir})

# pkg-config's prefix follows from where the file lies, so that the tree can be moved.
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/cali.pc.in cali.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cali.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
