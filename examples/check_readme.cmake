# Fails unless README shows the example word for word.
file(READ ${EXAMPLE} example)
file(READ ${README} readme)
string(FIND "${readme}" "${example}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "${README} does not show the present text of ${EXAMPLE}")
endif()
