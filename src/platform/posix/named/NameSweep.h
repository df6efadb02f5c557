// Clearing away what killed processes left of their named objects.
//
// Every process that makes an object sweeps the folder. The sweep may remove a file only if
//   - it is a regular file with the name of a name file, final or temporary,
//   - it belongs to this account, or this account is root,
//   - its lock is free: its object is not being made, joined or ended at the moment, and
//   - it holds no record, or a record of this IPC namespace that leads to no live segment: there is
//     none of its number, or that one differs from the record, is not marked for removal or has no
//     holder but the sweep.
// With the file it removes the segment of a maker that was killed before it could mark the segment
// for removal. It finds this segment by the key in the record.
#pragma once

// Removes the leftovers in the folder (its path ends in '/') as far as this account may; looks at a
// limited number of files and never waits.
void SweepNameFiles(const char* folder);
