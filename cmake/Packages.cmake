# RPM and TGZ packages: the client, the stand-in daemon and the monitoring check, each on its
# own. scripts/package makes them. DEB packages come from debian/.

# What RPM calls the processor that the packages are for.
set(processor_armv7l armv7hl)
set(processor_mips64 mips64el)
set(CPACK_RPM_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
if(processor_${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_RPM_PACKAGE_ARCHITECTURE ${processor_${CMAKE_SYSTEM_PROCESSOR}})
endif()

set(CPACK_PACKAGE_NAME trel-tool)
set(CPACK_PACKAGE_VENDOR "trel-tool maintainers")
set(CPACK_PACKAGE_CONTACT "trel-tool maintainers <trel-tool@example.org>")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_GENERATOR RPM TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING IGNORE)
# Makes the packages independent of umask and clock.
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake")

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_PACKAGE_LICENSE "Apache-2.0")
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_AUTOREQ ON)
# What is not from the files packed: the building host and time.
set(CPACK_RPM_SPEC_MORE_DEFINE
  "%define _buildhost localhost
%define use_source_date_epoch_as_buildtime 1
%define clamp_mtime_to_source_date_epoch 1
%define _build_id_links none")
# Folders of the system belong to other packages.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
  /usr/bin /usr/sbin /usr/share/man /usr/share/man/man8 /usr/share/doc
  /usr/share/bash-completion /usr/share/bash-completion/completions
  /usr/share/fish /usr/share/fish/vendor_completions.d
  /usr/share/zsh /usr/share/zsh/site-functions /usr/lib/nagios /usr/lib/nagios/plugins
  /usr/lib/systemd /usr/lib/systemd/system)
set(CPACK_RPM_CLIENT_PACKAGE_NAME trel-tool)
set(CPACK_RPM_CLIENT_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RPM_CLIENT_PACKAGE_DESCRIPTION
  "Sends one command to the object-placement daemon treld of a storage cluster
node over its Unix-domain socket and prints the reply. Comes with a manual
page, completions for bash, zsh and fish, and a catalogue of its commands.")
set(CPACK_RPM_STANDIN_PACKAGE_NAME trel-standin)
set(CPACK_RPM_STANDIN_PACKAGE_SUMMARY "Stand-in for the object-placement daemon treld")
set(CPACK_RPM_STANDIN_PACKAGE_DESCRIPTION
  "Plays the daemon on a Unix-domain socket, so that trel-tool and what is built
on it can be tried and tested without a storage cluster.")
set(CPACK_RPM_MONITORING_PACKAGE_NAME trel-tool-monitoring)
set(CPACK_RPM_MONITORING_PACKAGE_ARCHITECTURE noarch)
set(CPACK_RPM_MONITORING_PACKAGE_REQUIRES trel-tool)
set(CPACK_RPM_MONITORING_PACKAGE_SUMMARY "Monitoring of the object-placement daemon treld")
set(CPACK_RPM_MONITORING_PACKAGE_DESCRIPTION
  "A check for Nagios-like systems that asks the daemon a query with trel-tool and
judges the outcome, and a systemd timer that writes the same as metrics for the
textfile collector of Prometheus's node exporter.")

set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_ARCHIVE_CLIENT_FILE_NAME
  "trel-tool-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_ARCHIVE_STANDIN_FILE_NAME
  "trel-standin-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_ARCHIVE_MONITORING_FILE_NAME "trel-tool-monitoring-${PROJECT_VERSION}")

set(CPACK_COMPONENTS_ALL client monitoring)
if(TARGET trel-standin)
  list(APPEND CPACK_COMPONENTS_ALL standin)
endif()
include(CPack)
