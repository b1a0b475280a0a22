# Run by CPack before it packs: gives every file the time SOURCE_DATE_EPOCH, so that equal files make equal packages.
if(DEFINED ENV{SOURCE_DATE_EPOCH} AND NOT CMAKE_HOST_WIN32)
  execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -exec touch -hd @$ENV{SOURCE_DATE_EPOCH} {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
