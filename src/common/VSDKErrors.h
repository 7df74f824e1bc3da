#pragma once

#include <atomic>
#include <string>
#include <unordered_map>
#include <utility>

#include "VSDKExport.h"

class CNMessageBase;

/// The VSDK error codes, their English messages, what the codes of the event-manager services mean as VSDK codes,
/// and how messages get into a log without their passwords.
///
/// A code is an unsigned number, 0 for success. Its block of 256 tells the layer that failed:
///
///   0x000     0 -   12  SDK server core
///   0x100   257 -  330  hub server connection, login, server-side operations
///   0x200   513 -  641  SDK client API and session file
///   0x300   769 -  802  command-line arguments and input validation
///   0x400  1025 - 1026  job and volume lookup arguments
///   0x500  1280 - 1294  database fetch failures, one code per kind of entity
///   0x600  1537 - 1549  subclient modification
///   0x700  1793 - 1804  backup set and subclient consistency, replication, SQL instances
///   0x800  2049 - 2062  SAML tokens and multi-hub-cell login
///   0x900  2305 - 2326  request handling, tasks, entity creation
///
/// 0 is the only success. 263, 264 and 300 (login, logout and single sign-on done) and 2315 and 2320 (waiting) inform.
/// 336 to 339 have localised texts only.
///
/// Any thread may call any function here at any time.

/// The English message of `code`: static, UTF-8, never null, not to be freed. A code without one, negative codes among
/// them, gets "Unknown Error Code.Please check logs for more details.". Messages that hold "%ls", "%s" or "%d" are
/// templates for `GetFormattedErrorString`.
VSDKDB_API const char* GetErrorString(int code);

/// Replaces `out` by `format` filled printf-style, at most 1023 bytes, cut before the UTF-8 character that does not
/// fit.
///
/// Every "%ls" of the format is filled by a narrow string and leaves an "s" behind it: "client [%ls]" with "abc" is
/// "client [abcs]". `format` is only read, and null is an empty text. The arguments must match the format's
/// conversions in number and kind, which neither the compiler nor this function can check; "%n" is not for messages.
VSDKDB_API void GetFormattedErrorString(std::string& out, char* format, ...);

/// Fills `EvMgrsToVSDKErrorMap` unless that is done. The two functions below see to it themselves.
VSDKDB_API void initializeErrorMap();

/// Translates `eventCode`, as login and security calls return it (0 and negative), into the VSDK code `code`, and, if
/// `message` is empty, puts its localised text there. An event code that the map lacks changes neither.
VSDKDB_API void frameErrorMsg(std::string& message, unsigned long& code, int eventCode);

/// Replaces `out` by the localised text of the VSDK code, with `arg` as the number in it; by an empty text if no row of
/// the map has that code.
VSDKDB_API void getLocaleErrorMsgFromVSDKErrorCode(std::string& out, unsigned long code, unsigned long arg);

/// A text of XML with the values of attributes named password, in lower case, replaced by four asterisks. A value ends
/// at a quote that a blank follows; where there is none, so does the text. Behind a value that is longer than four
/// characters the search goes on as many characters further as it is longer, so that an attribute that begins there is
/// not masked. In time linear in the text.
VSDKDB_API std::string filterPassword(const std::string& xml);

/// The same for names in any case, also as the end of a name; a value ends at a quote, one that has none stays. Nothing
/// is skipped. In time linear in the text.
VSDKDB_API std::string filterPasswordAttrBased(const std::string& xml);

/// A message as XML for a log: decoded and written anew, passwords masked where its type is of the older kind, whose
/// passwords are plain attributes. "Error. XML is not properly formatted so cannot unserialize it." for what is no
/// message; an empty text stays empty.
VSDKDB_API std::string logXMLMessage(const std::string& xml);
/// Empty for null, and for a message that cannot be written at all; the sentence for one that can be in part.
VSDKDB_API std::string logXMLMessage(CNMessageBase* message);

/// A time in Unix seconds as text in the process's local time zone: "Sun Nov 15 12:44:46 2026", the C library's `ctime`
/// without the line end. "now" for 0, empty for a time that `ctime` cannot represent, as in a year beyond 2147483647.
/// As there, the value's bits are taken as a signed number.
VSDKDB_API std::string UnixTimeToLocTimeString(unsigned long time);

/// Event-manager code to VSDK code and identifier of the localised message. Filled once, by `initializeErrorMap`, and
/// only read afterwards.
extern VSDKDB_API std::unordered_map<int, std::pair<unsigned long, unsigned long>> EvMgrsToVSDKErrorMap;

/// True until `EvMgrsToVSDKErrorMap` is filled.
extern VSDKDB_API std::atomic<bool> needErrorMapInit;

extern VSDKDB_API const std::string vmFatalError;
