# cmake -DNM=.. -DENGINE=ferrolune -DSYMBOL_LISTS="a/external_symbols.txt;b/..." -P CheckLevelSymbols.cmake
#
# Every external symbol a renamed copy of the engine defines must be defined in the executable under its
# renamed name. One that is missing was defined in a COMDAT group the linker dropped for a group of the same
# signature from another copy, and the references to it now go elsewhere or nowhere. The executable is
# removed then, so that the next build links and checks it again.

execute_process(COMMAND ${NM} --defined-only ${ENGINE} OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "CheckLevelSymbols: ${NM} failed on ${ENGINE}")
endif()
string(REGEX MATCHALL "[^ \n]+\n" names "${listing}")
string(REPLACE "\n" "" names "${names}")
foreach(name IN LISTS names)
  set("have ${name}" ON)
endforeach()
set(missing)
foreach(list_file IN LISTS SYMBOL_LISTS)
  file(STRINGS ${list_file} wanted)
  foreach(name IN LISTS wanted)
    if(NOT DEFINED "have ${name}")
      list(APPEND missing "${name}")
    endif()
  endforeach()
endforeach()
if(missing)
  file(REMOVE ${ENGINE})
  list(LENGTH missing count)
  list(JOIN missing "\n  " missing)
  message(FATAL_ERROR "${ENGINE}: ${count} symbols of the per-level copies were dropped at the link:\n  ${missing}")
endif()
