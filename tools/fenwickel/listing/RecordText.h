// Records as text: a table row for people, the fields of a JSON object for programs.
#pragma once

#include <string>

#include "RecordReader.h"
#include "report/Json.h"

// The name of a status, the number of a value outside enSyncItemStatus.
std::string StatusName(std::uint8_t status);

// The status with that name, 0 when there is none.
std::uint8_t StatusFromName(const std::string& name);

// The heading of the table, and one row of it, each with a line feed.
std::string TableHeading();
void AppendTableRow(std::string& text, const RecordView& record);

// The record as the fields of a JSON object.
JsonFields Fields(const RecordView& record);
