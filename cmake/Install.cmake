# What is installed beside the programs, and the target `uninstall`, which removes what
# `cmake --install` has made: files, and the folders that were not there before.
# Included before the programs, whose folders are recorded here too.

set(install_bash "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
set(install_fish "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
set(install_zsh "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
set(install_data "${CMAKE_INSTALL_DATADIR}/trel-tool")
set(install_manual "${CMAKE_INSTALL_MANDIR}/man8")
set(install_licence "${CMAKE_INSTALL_DATADIR}/doc/trel-tool")
set(install_guides "${CMAKE_INSTALL_DATADIR}/doc/trel-standin")
set(install_plugins lib/nagios/plugins)
set(install_units lib/systemd/system)
set(monitoring "${PROJECT_SOURCE_DIR}/cluster/monitoring")

install(CODE "set(folders ${CMAKE_INSTALL_SBINDIR} ${CMAKE_INSTALL_BINDIR} ${install_bash}
  ${install_fish} ${install_zsh} ${install_data} ${install_manual} ${install_licence}
  ${install_plugins} ${install_units} ${install_guides}/examples/pytest)" ALL_COMPONENTS)
install(CODE [[
  foreach(folder IN LISTS folders)
    set(path "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${folder}")
    while(NOT EXISTS "${path}")
      file(APPEND "${CMAKE_CURRENT_LIST_DIR}/install_folders.txt" "${path}\n")
      cmake_path(GET path PARENT_PATH path)
    endwhile()
  endforeach()]] ALL_COMPONENTS)
add_custom_target(uninstall
  COMMAND "${CMAKE_COMMAND}" -P "${CMAKE_CURRENT_LIST_DIR}/Uninstall.cmake" VERBATIM)

install(FILES "${PROJECT_SOURCE_DIR}/LICENSE"
  DESTINATION "${install_licence}" COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/trel-tool.8"
  DESTINATION "${install_manual}" COMPONENT client)
install(
  FILES
    "${PROJECT_SOURCE_DIR}/generated/commands.json"
    "${PROJECT_SOURCE_DIR}/generated/commands.schema.json"
  DESTINATION "${install_data}" COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/trel-tool.bash"
  DESTINATION "${install_bash}" RENAME trel-tool COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/trel-tool.fish"
  DESTINATION "${install_fish}" COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/_trel-tool"
  DESTINATION "${install_zsh}" COMPONENT client)

# The check for monitoring systems and its units: for whoever asks for this component.
install(PROGRAMS "${monitoring}/check_trel"
  DESTINATION "${install_plugins}" COMPONENT monitoring EXCLUDE_FROM_ALL)
# The service names the check's path.
install(CODE "file(READ \"${monitoring}/trel-monitoring.service\" unit)
  string(REPLACE \"=/usr/lib/nagios\" \"=\${CMAKE_INSTALL_PREFIX}/lib/nagios\" unit \"\${unit}\")
  file(WRITE \"${PROJECT_BINARY_DIR}/trel-monitoring.service\" \"\${unit}\")"
  COMPONENT monitoring EXCLUDE_FROM_ALL)
install(
  FILES
    "${PROJECT_BINARY_DIR}/trel-monitoring.service"
    "${monitoring}/trel-monitoring.timer"
  DESTINATION "${install_units}" COMPONENT monitoring EXCLUDE_FROM_ALL)

# fish reads the completions of vendors under /usr alone.
install(CODE "set(fish \"\${CMAKE_INSTALL_PREFIX}/${install_fish}/trel-tool.fish\")
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
    message(STATUS \"For fish: ln -s \${fish} /etc/fish/completions/\")
  endif()" COMPONENT client)
