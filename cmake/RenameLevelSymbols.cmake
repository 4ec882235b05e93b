# cmake -DNM=.. -DOBJCOPY=.. -DOBJDUMP=.. -DSUFFIX=.x86_64_v3 -DOUT_DIR=DIR -P RenameLevelSymbols.cmake OBJECT...
#
# Copies the objects of one level's copy of the engine to OUT_DIR (each at its path after ".dir/"), with
# SUFFIX appended to every external symbol any of them defines, in definitions and references alike: global
# and weak functions and data, inline functions, template instantiations and their COMDAT groups, vtables.
# References to what the copy does not define (the C and C++ runtime) keep their names.
#
# Fails when an object would run code before main (a static initialiser or destructor registration): that
# code would be of the copy's level and run before the level is checked.

set(objects)
set(after_script OFF)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
  if(after_script)
    list(APPEND objects "${CMAKE_ARGV${i}}")
  elseif(CMAKE_ARGV${i} MATCHES "RenameLevelSymbols\\.cmake$")
    set(after_script ON)
  endif()
endforeach()
if(NOT objects)
  message(FATAL_ERROR "RenameLevelSymbols: no objects given")
endif()

set(defined)
set(external)
foreach(object IN LISTS objects)
  execute_process(COMMAND ${NM} --defined-only --debug-syms ${object}
                  OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "RenameLevelSymbols: ${NM} failed on ${object}")
  endif()
  string(REGEX MATCHALL "[^\n]+" lines "${listing}")
  foreach(line IN LISTS lines)
    # "ADDRESS TYPE NAME". Every external symbol is renamed, whatever its name (PE-COFF's ".refptr.NAME"
    # among them). So are local ones (static functions, and in ELF the signatures of COMDAT groups that
    # define no symbol of their name, such as the "D5" group of a destructor's aliases), except section
    # and assembler-local names, which begin with a dot, and file names (type a).
    if(line MATCHES "^[0-9a-fA-F]* *([A-Z]) ([^ ]+)$")
      list(APPEND defined "${CMAKE_MATCH_2}")
      list(APPEND external "${CMAKE_MATCH_2}")
    elseif(line MATCHES "^[0-9a-fA-F]* *([b-z]) ([^. ][^ ]*)$")
      list(APPEND defined "${CMAKE_MATCH_2}")
    endif()
  endforeach()
endforeach()
list(REMOVE_DUPLICATES defined)
list(REMOVE_DUPLICATES external)
if(NOT defined)
  message(FATAL_ERROR "RenameLevelSymbols: the objects define no symbols")
endif()

set(map "")
foreach(name IN LISTS defined)
  string(APPEND map "${name} ${name}${SUFFIX}\n")
endforeach()
file(MAKE_DIRECTORY ${OUT_DIR})
set(map_file ${OUT_DIR}/renamed_symbols.txt)
file(WRITE ${map_file} "${map}")
# What the executable must define, for CheckLevelSymbols.cmake.
list(TRANSFORM external APPEND "${SUFFIX}")
list(JOIN external "\n" external)
file(WRITE ${OUT_DIR}/external_symbols.txt "${external}\n")

foreach(object IN LISTS objects)
  if(NOT object MATCHES "\\.dir/(.+)$")
    message(FATAL_ERROR "RenameLevelSymbols: ${object} is not under an object directory")
  endif()
  set(output ${OUT_DIR}/${CMAKE_MATCH_1})
  get_filename_component(output_dir ${output} DIRECTORY)
  file(MAKE_DIRECTORY ${output_dir})
  # PE-COFF keys a COMDAT section that has no symbol of its own, such as the unwind data .xdata$NAME and
  # .pdata$NAME of an inline function, by its section name: those names get the suffix too, or the linker
  # would keep one copy's unwind data for all.
  set(section_renames)
  execute_process(COMMAND ${OBJDUMP} -h ${object} OUTPUT_VARIABLE sections RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "RenameLevelSymbols: ${OBJDUMP} failed on ${object}")
  endif()
  if(sections MATCHES "file format pe-")
    string(REGEX MATCHALL "[ \t][0-9]+ [^ \t\n]+\\$[^ \t\n]+ [^\n]*\n[^\n]*LINK_ONCE" comdats "${sections}")
    foreach(comdat IN LISTS comdats)
      string(REGEX MATCH "^[ \t][0-9]+ ([^ \t\n]+)" _ "${comdat}")
      # The section's own symbol, which carries its COMDAT selection, keeps the section's name.
      list(APPEND section_renames --rename-section "${CMAKE_MATCH_1}=${CMAKE_MATCH_1}${SUFFIX}"
                                  --redefine-sym "${CMAKE_MATCH_1}=${CMAKE_MATCH_1}${SUFFIX}")
    endforeach()
  endif()
  execute_process(COMMAND ${OBJCOPY} --redefine-syms=${map_file} ${section_renames} ${object} ${output}
                  RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "RenameLevelSymbols: ${OBJCOPY} failed on ${object}")
  endif()

  # ELF keeps start-up code pointers in .init_array (.preinit_array, .ctors of old), PE-COFF in .ctors and
  # .CRT$XC*/.CRT$XI*/.CRT$XL*.
  execute_process(COMMAND ${OBJDUMP} -h ${output} OUTPUT_VARIABLE sections RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "RenameLevelSymbols: ${OBJDUMP} failed on ${output}")
  endif()
  if(sections MATCHES "[ \t](\\.init_array|\\.preinit_array|\\.ctors|\\.CRT\\$X[CIL])[^ \t\n]*")
    file(REMOVE ${output})
    message(FATAL_ERROR "${object}: a static initialiser (section ${CMAKE_MATCH_1}). The portable executable "
                        "chooses its code in main, so no global of the engine may need code run before main: "
                        "initialise it as a constant (constinit), or make it on first use.")
  endif()
endforeach()
