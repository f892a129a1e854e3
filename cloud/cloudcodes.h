// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDCODES_H
#define CLOUDCODES_H

// The numbers of the provider contract that hosts test for, named. The framework's classes keep
// int in their signatures: hosts are compiled against them as they are.
namespace Cloud {

// What CloudFile::getObjectFromPath() reports through its status argument.
enum LookupStatus : int {
    NothingFound = 0, // a folder above the entry is missing, or a lookup failed on the way
    ParentFound = 1, // every folder exists; the object returned is the one that would hold it
    PathFound = 2, // the object returned is the entry itself
};

// The error codes a provider sets itself; every other code is a QNetworkReply::NetworkError.
// Contract: hosts compare with these values as they are, although 403 is also the value of
// QNetworkReply::ServiceUnavailableError and 299 that of UnknownContentError.
enum ProviderError : int {
    CorruptedData = 299, // downloaded content failed its checksum
    PathNotFound = 403, // a path did not resolve
};

} // namespace Cloud

#endif // CLOUDCODES_H
