/** @file OxaAutoUpdateUtilsManifest.h  What a line of the update package's manifest names: functions on plain values.
 */
#ifndef OXAAUTOUPDATEUTILSMANIFEST_H
#define OXAAUTOUPDATEUTILSMANIFEST_H

#include <string_view>

namespace qvrf {

/** The text without white space at its ends, as the current locale knows it; empty when there is nothing else. */
std::string_view trimmed(std::string_view text) noexcept;

/** The package files that a manifest line names; a field is empty when the line does not name its file. */
struct ManifestLine {
    std::string_view linuxPackage;
    std::string_view windowsPackage;
    std::string_view windowsNanoPackage;
};

/**
 * Takes a manifest line apart: a digest up to the first blank, then names, in double quotes or bare. A name counts for
 * every field whose package it holds the name of; the last one of a line counts.
 * @param line  up to its NUL; the line feed may be there
 */
ManifestLine manifestLine(std::string_view line) noexcept;

}  // namespace qvrf

#endif
