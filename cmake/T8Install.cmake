include(CMakePackageConfigHelpers)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/T8SettingsManager)

if(standInForLog)
    install(DIRECTORY platform/qlog/include/qlog DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endif()
install(TARGETS T8SettingsManager ${standInForLog} EXPORT T8SettingsManagerTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/Qel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT T8SettingsManagerTargets NAMESPACE T8SettingsManager:: DESTINATION ${package})
if(TARGET t8settings)
    install(TARGETS t8settings RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    install(FILES tools/t8settings/t8settings.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES tools/t8settings/completion/t8settings.bash RENAME t8settings
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES tools/t8settings/completion/_t8settings
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
endif()

configure_package_config_file(cmake/T8SettingsManagerConfig.cmake.in T8SettingsManagerConfig.cmake
    INSTALL_DESTINATION ${package} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(T8SettingsManagerConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/T8SettingsManagerConfig.cmake
    ${PROJECT_BINARY_DIR}/T8SettingsManagerConfigVersion.cmake
    DESTINATION ${package})

# Relative, so that an installed copy can be moved.
file(RELATIVE_PATH prefixFromPkgConfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/T8SettingsManager.pc.in T8SettingsManager.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/T8SettingsManager.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
