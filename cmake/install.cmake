# What is installed where, in four components: runtime (the library), standard (the same under the standard's names),
# development (what it takes to build with them) and tools. The installed tree may be moved as a whole.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/QVvisa)
set(generated_dir ${PROJECT_BINARY_DIR}/install)

set_target_properties(QVvisa_32 PROPERTIES EXPORT_NAME QVvisa)
install(TARGETS QVvisa_32 EXPORT QVvisa LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS QVvisa_std LIBRARY COMPONENT standard NAMELINK_COMPONENT development)
install(FILES packaging/60-qvvisa.rules DESTINATION lib/udev/rules.d COMPONENT runtime)

install(FILES src/incl/QVvisa.h src/incl/QVvisa.hpp std/incl/QVvisa_std.h TYPE INCLUDE COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development USE_SOURCE_PERMISSIONS)
install(EXPORT QVvisa FILE QVvisaConfig.cmake NAMESPACE QVvisa:: DESTINATION ${cmake_dir} COMPONENT development)
write_basic_package_version_file(${generated_dir}/QVvisaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${generated_dir}/QVvisaConfigVersion.cmake DESTINATION ${cmake_dir} COMPONENT development)
# pkg-config tells where its file lies, and all else is told from there.
file(RELATIVE_PATH to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
configure_file(cmake/QVvisa.pc.in ${generated_dir}/QVvisa.pc @ONLY)
install(FILES ${generated_dir}/QVvisa.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Installs a man page of a section-1 command, made of a template.
function(qvvisa_install_man_page template)
  get_filename_component(page ${template} NAME_WLE)
  configure_file(${template} ${generated_dir}/${page} @ONLY)
  execute_process(COMMAND gzip -9nf ${generated_dir}/${page} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${generated_dir}/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endfunction()

# Builds what is installed, and nothing else.
add_custom_target(qvvisa_installed DEPENDS QVvisa_32 QVvisa_std)

if(TARGET qvvisa)
  # The tool finds the library beside it, unless the system finds it by itself.
  if(NOT CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(qvvisa PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
  endif()
  install(TARGETS qvvisa COMPONENT tools)
  add_dependencies(qvvisa_installed qvvisa qvvisa_references)
  set(references ${PROJECT_BINARY_DIR}/tools)
  install(FILES ${references}/man/qvvisa.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${references}/bash/qvvisa DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tools)
  # Debian's zsh looks in site-functions below /usr/local alone.
  set(zsh_functions site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND EXISTS /etc/debian_version)
    set(zsh_functions vendor-completions)
  endif()
  install(FILES ${references}/zsh/_qvvisa DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_functions} COMPONENT tools)
endif()
if(TARGET qvvisa-sim)
  install(TARGETS qvvisa-sim COMPONENT tools)
  add_dependencies(qvvisa_installed qvvisa-sim)
  qvvisa_install_man_page(sim/qvvisa-sim.1.in)
endif()
