// The host's file table: text files held open under small numbers (1 to 255),
// one table per host thread, as the platform's file services keep them.
// FreeFile answers the lowest free number; a caller opens a file under it,
// reads or writes lines through the number and closes it. Errors are the run
// time's: 52 for a number that holds no file (or is out of range), 53 for a
// file to read that does not exist, 54 for a read from a file opened for
// output or a write to one opened for input, 55 for a number in use, 62 for a
// read after the last line, 75 when a file cannot be opened or written, 76
// when its folder does not exist.
//
// Lines: a read ends at CR LF, at LF or at a lone CR, and the ending is not
// part of the line; the last line needs no ending. A write ends each line with
// CR LF. Eof is True once nothing is left to read.
#pragma once

#include <string>
#include <string_view>

namespace zmdb::files {

inline constexpr int kMaxFileNumber = 255;

// The lowest number no open file holds; error 67 ("Too many files") when all do.
int FreeFile();
void OpenForInput(int number, const std::string& path);
// Creates the file, or empties it when it exists.
void OpenForOutput(int number, const std::string& path);
// Closing a number that holds no file does nothing.
void Close(int number);
bool IsOpen(int number);
bool Eof(int number);
// The next line of a file opened for input (error 62 at the end).
std::string LineInput(int number);
// `line` and CR LF, to a file opened for output.
void PrintLine(int number, std::string_view line);

}  // namespace zmdb::files
