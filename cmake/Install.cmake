# What "cmake --install" writes, beside the programs, and how other projects find it.
include(CMakePackageConfigHelpers)
set(KVT_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/kvt)
set(KVT_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/kvt)

# kvt_install_library(TARGET): a shared library that is complete in itself, with a version.
function(kvt_install_library target)
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        INSTALL_RPATH "$ORIGIN;${ANDROID_LIB_DIR}")
    # clang leaves its sanitizers' runtime to the program.
    if(NOT KVT_SANITIZE)
        target_link_options(${target} PRIVATE LINKER:-z,defs)
    endif()
    install(TARGETS ${target} EXPORT kvt LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

install(TARGETS android_base EXPORT kvt)
install(EXPORT kvt NAMESPACE kvt:: FILE kvtTargets.cmake DESTINATION ${KVT_INSTALL_CMAKEDIR})
file(CONFIGURE OUTPUT kvtConfig.cmake @ONLY CONTENT "include(CMakeFindDependencyMacro)
find_dependency(Threads)
include(\${CMAKE_CURRENT_LIST_DIR}/kvtTargets.cmake)
")
write_basic_package_version_file(kvtConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kvtConfig.cmake ${PROJECT_BINARY_DIR}/kvtConfigVersion.cmake
    DESTINATION ${KVT_INSTALL_CMAKEDIR})

install(FILES packaging/kvt_config.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/kvt)
install(FILES README.md ARCHITECTURE.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
