# What is installed beside the programs. Each package has a component that every system
# gets, and one with what differs between Debian and all others. `cmake --install`
# installs what the others get.

find_program(TREL_GZIP gzip)

# trel_install_compressed(<file> <destination> <name> <component> <argument>...):
# installs the file compressed, and the same bytes each time.
function(trel_install_compressed file destination name component)
  set(compressed "${PROJECT_BINARY_DIR}/compressed/${component}/${name}.gz")
  add_custom_command(OUTPUT "${compressed}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory
      "${PROJECT_BINARY_DIR}/compressed/${component}"
    COMMAND sh -c "\"\$1\" -9nc \"\$2\" >\"\$3\"" sh "${TREL_GZIP}" "${file}" "${compressed}"
    DEPENDS "${file}"
    VERBATIM)
  add_custom_target(compress_${component}_${name} ALL DEPENDS "${compressed}")
  install(FILES "${compressed}" DESTINATION "${destination}" COMPONENT ${component} ${ARGN})
endfunction()

# trel_install_documents(<component> <package> <page>): manual page, licence, change log. A
# page that is not there yet is left out.
function(trel_install_documents component package page)
  if(EXISTS "${page}" AND TREL_GZIP)
    trel_install_compressed("${page}" "${CMAKE_INSTALL_MANDIR}/man8" ${package}.8 ${component})
  elseif(EXISTS "${page}")
    install(FILES "${page}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT ${component})
  endif()

  set(documents "${CMAKE_INSTALL_DATADIR}/doc/${package}")
  install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" DESTINATION "${documents}"
    COMPONENT ${component}_elsewhere)
  install(FILES "${PROJECT_SOURCE_DIR}/debian/copyright" DESTINATION "${documents}"
    COMPONENT ${component}_debian EXCLUDE_FROM_ALL)
  if(TREL_GZIP)
    trel_install_compressed("${PROJECT_SOURCE_DIR}/debian/changelog" "${documents}" changelog
      ${component}_debian EXCLUDE_FROM_ALL)
  endif()
endfunction()

trel_install_documents(client trel-tool "${PROJECT_SOURCE_DIR}/generated/trel-tool.8")
install(
  FILES
    "${PROJECT_SOURCE_DIR}/generated/commands.json"
    "${PROJECT_SOURCE_DIR}/generated/commands.schema.json"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/trel-tool"
  COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/trel-tool.bash"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions"
  RENAME trel-tool
  COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/trel-tool.fish"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d"
  COMPONENT client)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/_trel-tool"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions"
  COMPONENT client_elsewhere)
install(FILES "${PROJECT_SOURCE_DIR}/generated/completions/_trel-tool"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions"
  COMPONENT client_debian EXCLUDE_FROM_ALL)

# The check for monitoring systems and its units: for whoever asks for this component.
install(PROGRAMS "${PROJECT_SOURCE_DIR}/cluster/monitoring/check_trel"
  DESTINATION lib/nagios/plugins COMPONENT monitoring EXCLUDE_FROM_ALL)
install(
  FILES
    "${PROJECT_SOURCE_DIR}/cluster/monitoring/trel-monitoring.service"
    "${PROJECT_SOURCE_DIR}/cluster/monitoring/trel-monitoring.timer"
  DESTINATION lib/systemd/system COMPONENT monitoring EXCLUDE_FROM_ALL)

if(TARGET trel-standin)
  trel_install_documents(standin trel-standin "${PROJECT_SOURCE_DIR}/standin/trel-standin.8")
endif()
