// Clearing away what killed processes left of their named objects.
#pragma once

// Removes the leftovers in the folder (its path ends in '/') as far as this account may; looks at a
// limited number of files and never waits.
void SweepNameFiles(const char* folder);
