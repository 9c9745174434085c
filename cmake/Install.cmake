# What an installed Kestrel is: the shared library, its headers, the program with manual pages and completion, and the
# two ways to be found (a CMake package and a pkg-config file), both of which may be moved with the prefix. The dialogs
# come with them when they are built.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kestrel)

add_custom_target(kestrel_installed DEPENDS kestrel_shared kestrel_app kestrel_manuals)
install(TARGETS kestrel_shared EXPORT kestrelTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(KESTREL_WITH_DIALOGS)
    add_dependencies(kestrel_installed kestrel_dialogs)
    set_target_properties(kestrel_dialogs PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS kestrel_dialogs EXPORT kestrelDialogsTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(EXPORT kestrelDialogsTargets NAMESPACE kestrel:: DESTINATION ${package_dir})
    # Only `kestrel dialog` runs it.
    add_dependencies(kestrel_installed kestrel_dialog_app)
    file(RELATIVE_PATH libexec_to_lib "${CMAKE_INSTALL_FULL_LIBEXECDIR}/kestrel" "${CMAKE_INSTALL_FULL_LIBDIR}")
    set_target_properties(kestrel_dialog_app PROPERTIES INSTALL_RPATH "$ORIGIN/${libexec_to_lib}")
    install(TARGETS kestrel_dialog_app RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/kestrel)
endif()
# Filters are reached by their ProgID, kernels and passes by the filters; none is an interface, but for the rows that
# rules of filters take. A header of another folder that is no interface says so in its comment.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/kestrel/*.h)
list(FILTER headers EXCLUDE REGEX "-inl\\.h$|^kestrel/(kernels|passes|filters)/")
list(APPEND headers kestrel/kernels/Row.h)
if(NOT KESTREL_WITH_DIALOGS)
    list(FILTER headers EXCLUDE REGEX "^kestrel/dialogs/")
endif()
foreach(header ${headers})
    file(STRINGS ${header} internal REGEX "Not installed")
    if(NOT internal)
        get_filename_component(folder ${header} DIRECTORY)
        install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
    endif()
endforeach()

file(RELATIVE_PATH to_lib "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(kestrel_app PROPERTIES INSTALL_RPATH "$ORIGIN/${to_lib}")
install(TARGETS kestrel_app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/resources/Gradation_Factory
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrel/Filter)
install(FILES ${PROJECT_SOURCE_DIR}/docs/kestrel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(DIRECTORY ${PROJECT_BINARY_DIR}/apps/kestrel/man1 DESTINATION ${CMAKE_INSTALL_MANDIR})
set(completion ${PROJECT_SOURCE_DIR}/apps/kestrel/completion)
install(FILES ${completion}/kestrel.bash RENAME kestrel
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${completion}/_kestrel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES ${completion}/kestrel.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

install(EXPORT kestrelTargets NAMESPACE kestrel:: DESTINATION ${package_dir})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kestrelConfig.cmake.in
    ${PROJECT_BINARY_DIR}/kestrelConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kestrelConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kestrelConfig.cmake ${PROJECT_BINARY_DIR}/kestrelConfigVersion.cmake
    DESTINATION ${package_dir})

file(RELATIVE_PATH to_prefix "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/kestrel.pc.in ${PROJECT_BINARY_DIR}/kestrel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kestrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(KESTREL_WITH_DIALOGS)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/kestrel-dialogs.pc.in ${PROJECT_BINARY_DIR}/kestrel-dialogs.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/kestrel-dialogs.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
