// Clearing the upper halves of the vector registers of the calling thread.
//
// Code of Qt and of the C library that uses 256- or 512-bit registers does not always
// clear their upper halves when it is done, and a new thread starts with the register
// state of the thread that made it. Until they are cleared, every legacy SSE
// instruction (code built for baseline x86-64, and log, log10 and pow of the C library)
// runs many times slower: log10 and pow drop from about 90 and 50 to about 5 million
// calls per second once a QApplication exists. Numeric loops call this before they
// start; it costs one instruction, and nothing on CPUs without AVX.
#pragma once

void cleanVectorState();
