# Run by cpack on what is to be packed.
set(folder ${CPACK_TEMPORARY_DIRECTORY})
file(GLOB_RECURSE texts ${folder}/*)
list(FILTER texts INCLUDE REGEX "/man1/[^/]*\\.1$|/doc/hoistline/changelog[^/]*$")
foreach(text ${texts})
  execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

if(CPACK_GENERATOR STREQUAL TGZ) # nobody else tells the tarball's user what it needs
  get_filename_component(source ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
  file(GLOB programs ${folder}/lib/hoistline/hoistline ${folder}/lib/hoistline/HoistlineApp ${folder}/lib/hoistline/*.so)
  execute_process(COMMAND bash ${source}/scripts/needed-libraries.sh ${programs} OUTPUT_VARIABLE libraries
    COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${source}/packaging/INSTALL text)
  file(WRITE ${folder}/INSTALL "${text}${libraries}")
endif()
