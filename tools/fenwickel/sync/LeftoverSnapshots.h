// The snapshots that killed runs left: finding and deleting them.
#pragma once

#include <string>
#include <vector>

#include "fenwickel/Types.h"

// The volumes that hold the folders, as mount points with '\' at their ends, each once. Adds a line
// to problems, without a line end, for a folder whose volume the system does not name.
std::vector<WString> VolumesOf(const std::vector<WString>& folders,
                               std::vector<std::string>* problems);

// The snapshots that killed runs left on the volumes, without '\' at their ends. Adds a line to
// problems for a volume that cannot be searched.
std::vector<WString> FindLeftovers(const std::vector<WString>& volumes,
                                   std::vector<std::string>* problems);

// Deletes a snapshot that no process uses any more. "", also when another process did that
// meanwhile, or a line that tells why not.
std::string DeleteLeftover(const WString& snapshot);

// Deletes the snapshots that killed runs left on the volumes of the folders. What cannot be deleted
// or listed is told on standard error and left.
void RemoveLeftoverSnapshots(const std::vector<WString>& folders);

// The names in a folder that snapshots of this program have. They lie in the root folder of a
// volume; one that another run holds, or that a killed run has left, is no content. None when the
// folder cannot be read: the walk will tell.
std::vector<WString> SnapshotNamesIn(const WString& folder);
