// What --to names.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Uploader.h"

// Understands --to: rclone:REMOTE:PATH, rsync:PATH, rsync:HOST:PATH, cmd:TEMPLATE. Throws Failure
// (Usage). scratch is the path of a file that the uploader may use for what a program prints.
// keepOwners is what the user says about the owners of the copy: the uploader decides without it.
std::unique_ptr<Uploader> MakeUploader(const std::string& destination, const WString& scratch,
                                       std::optional<bool> keepOwners);

// The folder of this machine that the destination is, in the library's form; "" when it is none or
// that cannot be told.
WString LocalDestination(const std::string& destination);
