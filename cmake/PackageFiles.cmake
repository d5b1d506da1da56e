# Run by CPack between gathering the files and packing them: folders get the mode that
# they have in the system, whatever the umask, and all files the time of
# SOURCE_DATE_EPOCH.

execute_process(
  COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -type d -exec chmod 755 {} +
  COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec
      touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
