# The packages: DEB, RPM and TGZ, the client and the stand-in daemon each on its own.
# scripts/package makes them. With SOURCE_DATE_EPOCH set they are the same bytes each
# time, given the same umask.

set(CPACK_PACKAGE_NAME trel-tool)
set(CPACK_PACKAGE_VENDOR "trel-tool maintainers")
set(CPACK_PACKAGE_CONTACT "trel-tool maintainers <trel-tool@example.org>")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_GENERATOR DEB RPM TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
# Chooses the components of each kind of package.
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/PackageKind.cmake")
# Makes the packages independent of umask and clock.
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/PackageFiles.cmake")

set(client_text
  "Sends one command to the object-placement daemon treld of a storage cluster
node over its Unix-domain socket and prints the reply. Comes with a manual
page, completions for bash, zsh and fish, and a catalogue of its commands.")
set(standin_summary "Stand-in for the object-placement daemon treld")
set(standin_text
  "Plays the daemon on a Unix-domain socket, so that trel-tool and what is built
on it can be tried and tested without a storage cluster.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME trel-tool)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_CLIENT_PACKAGE_SUGGESTS "trel-standin")
set(CPACK_DEBIAN_CLIENT_DESCRIPTION "${PROJECT_DESCRIPTION}\n${client_text}")
set(CPACK_DEBIAN_STANDIN_PACKAGE_NAME trel-standin)
set(CPACK_DEBIAN_STANDIN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_STANDIN_PACKAGE_SUGGESTS "trel-tool")
set(CPACK_DEBIAN_STANDIN_DESCRIPTION "${standin_summary}\n${standin_text}")

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
  /usr/share/zsh /usr/share/zsh/site-functions)
set(CPACK_RPM_CLIENT_PACKAGE_NAME trel-tool)
set(CPACK_RPM_CLIENT_PACKAGE_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RPM_CLIENT_PACKAGE_DESCRIPTION "${client_text}")
set(CPACK_RPM_STANDIN_PACKAGE_NAME trel-standin)
set(CPACK_RPM_STANDIN_PACKAGE_SUMMARY "${standin_summary}")
set(CPACK_RPM_STANDIN_PACKAGE_DESCRIPTION "${standin_text}")

set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_ARCHIVE_CLIENT_FILE_NAME
  "trel-tool-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")
set(CPACK_ARCHIVE_STANDIN_FILE_NAME
  "trel-standin-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}")

set(CPACK_TREL_GROUPS client)
if(TARGET trel-standin)
  list(APPEND CPACK_TREL_GROUPS standin)
endif()

include(CPack)
foreach(group IN LISTS CPACK_TREL_GROUPS)
  cpack_add_component_group(${group})
  foreach(component IN ITEMS ${group} ${group}_debian ${group}_elsewhere)
    cpack_add_component(${component} GROUP ${group})
  endforeach()
endforeach()
