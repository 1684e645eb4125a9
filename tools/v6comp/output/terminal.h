// SPDX-License-Identifier: Apache-2.0
// terminal.h - what is known of the terminal, if there is one.
#ifndef TERMINAL_H
#define TERMINAL_H

namespace v6tool {

bool is_terminal(int descriptor);

// Columns of the terminal behind a descriptor, 0 if it is none or does not say. COLUMNS has the last word.
unsigned terminal_width(int descriptor);

// Columns for help on standard output: what a terminal has, but no more than is read with ease; 80 anywhere else.
unsigned help_width();

// May standard output be coloured? Only a terminal, and not where NO_COLOR is set or TERM is dumb.
bool may_colour();

}  // namespace v6tool

#endif
