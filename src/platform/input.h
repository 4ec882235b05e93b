// The bytes of standard input, as they come.
#pragma once

#include <cstddef>

// Reads at most size bytes of standard input into buffer, waiting until some arrive; 0 at the end of the
// input or on an error. Bytes come unchanged: a console or interface on Windows ends its lines with CR LF.
std::size_t ReadStandardInput(char* buffer, std::size_t size);
