#include "common/VSDKErrors.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <string_view>

#include "log/EvEvent.h"
#include "log/Utf8Cut.h"
#include "message/XMLDecoder.h"
#include "message/XMLEncoder.h"

std::unordered_map<int, std::pair<unsigned long, unsigned long>> EvMgrsToVSDKErrorMap;
std::atomic<bool> needErrorMapInit{true};
const std::string vmFatalError = "**FatalError**";

namespace {

using OvCriticalSection = std::mutex;

constexpr std::size_t kMessageMax = 1023;

struct Entry {
    int code;
    const char* text;
};

constexpr std::array kCatalogue{
    // 0x000: SDK server core
    Entry{0, "Successful"},
    Entry{1, "VSDK Server Internal Error"},
    Entry{2, "VSDK Server failed to submit request to Hubserver"},
    Entry{3, "Unsupported command received by VSDK Server"},
    Entry{4, "Invalid request received by VSDK Server"},
    Entry{5, "Invalid Session Information received by VSDK Server"},
    Entry{6, "User logged out"},
    Entry{7, "VSDK Server encountered failure while preparing the Hubserver request"},
    Entry{8, "VSDK Server encountered failure while sending the Hubserver request"},
    Entry{9, "VSDK Server failed to find a connection to the Hubserver, Relogin required"},
    Entry{10, "Connection to the Hubserver terminated, Relogin required"},
    Entry{11, "Hubserver failed to return Job Id"},
    Entry{12, "Hubserver failed to return data"},
    // 0x100: hub server connection, login, server-side operations
    Entry{257, "Could not establish a connection with HubServer"},
    Entry{258, "VSDK Server encountered failure while receiving the Hubserver response"},
    Entry{259, "Invalid Login/Password"},
    Entry{260, "VSDK version not supported by Hubserver"},
    Entry{261, "Login Retry count exceeded"},
    Entry{262, "No response from Hubserver"},
    Entry{263, "Login Successful"},
    Entry{264, "Logout Successful"},
    Entry{265, "Another instance of the operation running"},
    Entry{266, "Connection to the Hubserver terminated, Relogin required"},
    Entry{267, "User not logged in"},
    Entry{268, "Operation failed at HubServer"},
    Entry{269, "No response received from HubServer"},
    Entry{270, "Unsupported Application Type"},
    Entry{271, "Unsupported Backup options"},
    Entry{272, "Unsupported Restore options"},
    Entry{273, "Instance not specified"},
    Entry{274, "BackupSet not specified"},
    Entry{275, "Subclient not specified"},
    Entry{276, "VSDK Server not compatible with Zorvan Hubserver"},
    Entry{277, "HubServe requires new passowrd for the user.Please use Zorvan GUI console to renew aged password"},
    Entry{278, "Failed to restore DB"},
    Entry{279, "Failed to capture clients"},
    Entry{280, "Failed to merge clients"},
    Entry{288, "Failed to get Hubserver timezone information"},
    Entry{294, "Initializing Server connection failed due to invalid server name"},
    Entry{295, "Memory allocation failure in the VSDK Service"},
    Entry{296, "Failure while getting Encoded public key for HubServer"},
    Entry{297, "Failure while sending encrypted session key to HubServer"},
    Entry{298, "SSO Login failed"},
    Entry{299, "SSO Login is still in progress"},
    Entry{300, "SSO Login is complete"},
    Entry{301, "Too many alerts to list"},
    Entry{302, "VR_RESTORE_ONLY_IF_TARGET_EXISTS option is valid only for Version 8.0 and above."},
    Entry{303, "Overflow condition occurred"},
    Entry{304, "Invalid parameter Specified.Please check VSDK.log for more details."},
    Entry{305, "Failed to update JobManager information"},
    Entry{306, "JobManager failed to update job information"},
    Entry{307, "Invalid db name passed to vscript command."},
    Entry{308, "Unable to read Registry Entries.Check for the permissions."},
    Entry{309, "Encryption failed at VSDK."},
    Entry{310, "Error in execution of SQL script."},
    Entry{311, "Failed to unmount snapshots"},
    Entry{312, "Failed to mount snapshots."},
    Entry{313, "Token Invalid/Expired. Relogin Required"},
    Entry{314, "User does not have required capability for this HubCell and this operation"},
    Entry{315, "Vscript execution failed."},
    Entry{316, "The data encryption is currently disabled for the client [%ls]."},
    Entry{317, "Failed to set Pass-Pharse. Set Direct Media Access option to \"Via Pass-Phrase\" or \"No Access\" and "
               "retry again."},
    Entry{318, "Pass-Phrase is already exist for the client [%ls]. Use -o \"modfiy\" to change it"},
    Entry{319, "Pass-Phrase not exist for the client."},
    Entry{320, "Couldn't update client [%ls]  encryption properties. **Reason**: Wrong combination of encryption "
               "parameters received: restoreAccess=\"passphrase\" and mediaAccess is already set to \"password\".\n"},
    Entry{321,
          "Couldn't update client [%ls]  encryption properties. **Reason**: Pass-Phrase should not be empty when "
          "direct media acess or restore access set to \"passphrase\". Retry again with -passphrase \"y\" option.\n"},
    Entry{322, "Couldn't update client [%ls]  encryption properties. **Reason**: Pass-Phrase should not be empty when "
               "restore access changes from passphrase to regular or mediaaccess changes from passphrase to password.  "
               " Please supply the same pass-phrase that you used when you enabled pass-phrase protection for this "
               "client. We will use it to unlock the client's RSA keys. Retry again with -passphrase \"y\" option.\n"},
    Entry{323, "Couldn't update client [%ls]  encryption properties. **Reason**: Pass-Phrase is already exist for the "
               "client. Use voperation setpassphrase command to change it.\n"},
    Entry{324, "Failed to mount Volume."},
    Entry{325, "Failed to unmount Volume(s)."},
    Entry{326, "Failed to fetch volume snap information. Please check VSDK log for more details."},
    Entry{327, "Invalid sidbstoreid [%d] specified."},
    Entry{328, "Login failed. Because client is in a higher Pellan version than VSDK"},
    Entry{329, "Account is locked. Please contact administrator"},
    Entry{330, "Answer challenge from RADIUS server as password"},
    // 0x200: SDK client API and session file
    Entry{513, "VSDK API Internal Error"},
    Entry{514, "Failed to connect to VSDK Server"},
    Entry{515, "HOME environment variable not set. Please export it and retry the command"},
    Entry{516, "Failed to send request to VSDK Server"},
    Entry{517, "Failed to receive response from VSDK Server"},
    Entry{518, "No response received from VSDK Server"},
    Entry{519, "Invalid response received from VSDK Server"},
    Entry{520, "VSDKSession file corrupted, Relogin required"},
    Entry{521, "User not logged in"},
    Entry{522, "Failed to update VSDKSession file"},
    Entry{523, "Failed to delete VSDKSession file"},
    Entry{524, "Unable to determine VSDK Server name"},
    Entry{525, "Unable to determine Zorvan VM Name"},
    Entry{526, "Hubserver name not specified"},
    Entry{543, "There is an active login to an another Hubserver, please logout from that and then retry"},
    Entry{575, "Another user to the same hubserver has already logged in, please logout from that and then retry"},
    Entry{591, "Failed to aquire exclusive access to the session file, please retry after a while"},
    Entry{607, "Failed to release lock on the session file"},
    Entry{612, "Single signon is supported only from Windows machines"},
    Entry{613, "Failed to generate SSO blob"},
    Entry{616, "Unable to Create or Open the Session file.Check for the Write permissions on the Session File"},
    Entry{617, "HS Name not found."},
    Entry{624, "Failed to read the session file"},
    Entry{625, "Unable to read Registry Entdries.Check for the permissions."},
    Entry{626, "Insufficient Registry previlleges.Unable to open lock file /etc/OrvaneRegistry/.global.lock.Permission "
               "denied"},
    Entry{627, "Writing to file failed"},
    Entry{629, "Failed to Encrypt the session xml Blob"},
    Entry{640, "VSDKAPI already deinitialized. Please check vcommand.log for more information."},
    Entry{641, "Failed to submit curl request. Please check vcommand.log for more information."},
    // 0x300: command-line arguments and input validation
    Entry{769, "Unsupported Option"},
    Entry{770, "Missing argument"},
    Entry{771, "Invalid Argument"},
    Entry{772, "Inputfile Parse error"},
    Entry{773, "Invalid name length"},
    Entry{774, "Default Backupset cannot be deleted"},
    Entry{775, "Client has been uninstalled, this operation is not allowed"},
    Entry{776, "tiotiklair has been uninstalled, this operation is not allowed"},
    Entry{777, "On-demand Backupset creation is not supported for Netware"},
    Entry{778, "Failed to open arguments file, %ls, check option [%ls]"},
    Entry{779, "Failed to open source paths file"},
    Entry{780, "Default Subclient cannot be deleted"},
    Entry{781, "Failed to read the answer file, %s, check option [%ls]|[%s]"},
    Entry{782, "Failed to create answer file, %s, check option [%ls]|[%s]"},
    Entry{783, "Specified storage policy is not an tiotiklair Backup storage policy"},
    Entry{784, "Invalid Password"},
    Entry{785, "User defined subclient cannot have / or \\ as content"},
    Entry{786, "Specified storage policy is not a Data Migrator/Archiver storage policy"},
    Entry{787, "User doesn't have rights to run Hubcell Migration"},
    Entry{788, "Passwords did not match, please try again"},
    Entry{789, "Invalid input time format specified (dd/mm/yyyy hh:mm[:ss]). Expected format: mm/dd/yyyy hh:mm[:ss] or "
               "yyyy/mm/dd hh:mm[:ss]"},
    Entry{790, "Specified time is an invalid calender time"},
    Entry{791, "Invalid time range specified, To time is less than From time"},
    Entry{792, "Failed to open filter paths file"},
    Entry{793, "Invalid Day Option"},
    Entry{794, "Invalid Hour Option"},
    Entry{795, "Invalid Destination File Path"},
    Entry{796, "Library is Disabled"},
    Entry{799, "Subclient is associated with a subclient policy"},
    Entry{800, "Invaild Subclient content format for Exchange Database. \nFor exchange 2003 or 2007 Expected format: "
               "Microsoft Information Store\\StoreGroup. \nExpected format: Microsoft Information Store\\Database"},
    Entry{801, "Exchange Store name [%ls] is invalid/already a part of another subclient"},
    Entry{802, "User is part of restricted user group. So, cannot view this entity"},
    // 0x400: job and volume lookup arguments
    Entry{1025, "Invalid VolumeId. VolumeId should be an Integer."},
    Entry{1026, "User does not have privileges to view job"},
    // 0x500: database fetch failures
    Entry{1280, "Failed to fetch dataagent information from the Hubserver database"},
    Entry{1282, "Failed to fetch instance information from the Hubserver database"},
    Entry{1283, "Failed to fetch backupset information from the Hubserver database"},
    Entry{1284, "Failed to fetch subclient information from the Hubserver database"},
    Entry{1285, "Failed to fetch job information from the Hubserver database"},
    Entry{1286, "Failed to fetch mediaagent information from the Hubserver database"},
    Entry{1287, "Failed to fetch storagepolicy information from the Hubserver database"},
    Entry{1288, "Failed to fetch user information from the Hubserver database"},
    Entry{1289, "Failed to decrypt user password"},
    Entry{1290, "Failed to fetch snapshot information from the Hubserver database"},
    Entry{1291, "Failed to fetch vsdk session info from the Hubserve database"},
    Entry{1292, "Session info not for for the query"},
    Entry{1293, "User Not logged in/Session expired"},
    Entry{1294, "No Snapshots found."},
    // 0x600: subclient modification
    Entry{1537, "Failed to modify subclient properties"},
    Entry{1538, "Failed to modify subclient content"},
    Entry{1539, "Failed to modify subclient data storage policy"},
    Entry{1540, "Failed to modify subclient index storage policy"},
    Entry{1541, "Cannot modify subclient properties as there are active backup jobs associated with this subclient"},
    Entry{1542, "Invalid subclient details specified"},
    Entry{1543, "Failed to fetch subclient policy information for the subclient"},
    Entry{1544, "Failed to modify subclient properties as it is associated with a subclient policy"},
    Entry{1545, "Failed to modify subclient backup reference time"},
    Entry{1546, "Failed to start a database transaction to modify subclient properties"},
    Entry{1547, "Subclient modification is not supported through the commandline interface"},
    Entry{1548, "Subclient modification is not supported for this dataagent"},
    Entry{1549, "Invaild HubCell Name.Failed to Fetch HubCell Id from HubServe DataBase."},
    // 0x700: backup set and subclient consistency, replication, SQL instances
    Entry{1793, "Failed to fetch the last modifed timestamp of the backupset"},
    Entry{1794, "Failed to modify subclient properties as they are locked by another application; retry the operation "
                "after some time"},
    Entry{1795, "Failed to modify subclient content as the content of the subclients in the backupset would become "
                "inconsistent"},
    Entry{1796, "Current status of the pair does not allow the attempted action"},
    Entry{1797, "Failed to fetch Unconfigured SQL instances."},
    Entry{1798, "Invalid SQL Instance Name"},
    Entry{1802, "Replication operation failed"},
    Entry{1803, "Check readiness is not supported for a client which has only MA Installed or no packages installed."},
    Entry{1804, "Failed to save token to a file.Please check the path of the input file."},
    // 0x800: SAML tokens and multi-hub-cell login
    Entry{2049, "Multihubcell login library internal error"},
    Entry{2050, "Could Not initailize openSaml Libraries"},
    Entry{2051, "Saml xml was tampered"},
    Entry{2052, "Not a valid saml token"},
    Entry{2053, "Token has Expired"},
    Entry{2054, "Signature Verification Failed::Reason \n1.Issuer renewed its saml authenticaiton certificates and "
                "they are not updated on this hubcell(Please update relations with token issuer). \t\t\t\n2.Its an "
                "older token, trust relation are updated and using new certificates now.\t\t\t\n3.Token was tampered "},
    Entry{2055, "DBERROR: Get Ownername failed "},
    Entry{2056, "DBERROR: Could not retrive mapped ids for users"},
    Entry{2057, "This Token issuer is disabled or does not exist"},
    Entry{2058, "Token User could not be mapped. Please verify user mappings for this issuer"},
    Entry{2059, "Don't have permisson to authenticate this token user or the user is disabled"},
    Entry{2060, "Can not issue saml token for this user :: No permission"},
    Entry{2061, "Failed authenticating linked orvaneId"},
    Entry{2062, "No Linked OrvaneId found for the user"},
    // 0x900: request handling, tasks, entity creation
    Entry{2305, "Domainless login was enabled after last login. Please logout and relogin."},
    Entry{2306, "Internal Error.Please refer to VSDK.log for more details."},
    Entry{2309, "VSDK failed to replace the commandline parameters in the input blob.Please refer to VSDK.log for more "
                "details."},
    Entry{2310, "Failed to create task.Please refer to VSDK.log and TaskManager.log for more details."},
    Entry{2311, "Unknown Request Supplied."},
    Entry{2312, "Invalid XML Input. Please check the input."},
    Entry{2313, "The Schedule Policy is already associated to the given entity"},
    Entry{2314, "Add/Removal of this entity is not supported since a higher entity is associated"},
    Entry{2315, "Waiting Asynchronously for jobId/error to be returned by Jobmanager"},
    Entry{2317, "Failed to discover Contents"},
    Entry{2318, "Activity disabled on hubserver"},
    Entry{2320, "Waiting for TaskManager response from EvMgrs"},
    Entry{2321, "Failed to process request due to invalid entity information."},
    Entry{2322, "Failed.Association to create entity is missing."},
    Entry{2323, "Failed.Subclient name is empty.Provide new sub client name in association."},
    Entry{2324, "Failed.Client name is empty.Provide new client name in association."},
    Entry{2325, "Failed.Backupset name is empty.Provide new backupset name in association."},
    Entry{2326, "Failed.Instance name is empty.Provide new instance name in association."},
};
static_assert(std::ranges::adjacent_find(kCatalogue, std::greater_equal{}, &Entry::code) == kCatalogue.end());

constexpr std::string_view kPasswordOpening = "password=\"";
constexpr std::string_view kMask = "****";
constexpr const char* kNoMessage = "Error. XML is not properly formatted so cannot unserialize it.";

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The localised text of a row of the map. The message of event code -102 has an insertion that is always empty here.
std::string localisedMessage(int eventCode, unsigned long messageId, unsigned long arg) {
    EvEvent event;
    if (eventCode == -102) {
        event << "";
    }
    std::array<char, kMessageMax + 1> buffer{};
    event.evPrintf(messageId, buffer.data(), kMessageMax, arg);
    return buffer.data();
}

} // namespace

const char* GetErrorString(int code) {
    const auto found = std::ranges::lower_bound(kCatalogue, code, {}, &Entry::code);
    if (found == kCatalogue.end() || found->code != code) {
        return "Unknown Error Code.Please check logs for more details.";
    }
    return found->text;
}

void GetFormattedErrorString(std::string& out, char* format, ...) {
    std::string narrow = format != nullptr ? format : "";
    std::size_t at = 0;
    while ((at = narrow.find("%ls", at)) != std::string::npos) { // each turn takes an l away and adds none
        narrow.replace(at, 2, "%s");
    }
    std::array<char, kMessageMax + 2> buffer{}; // one byte over the limit shows whether a character is cut there
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer.data(), buffer.size(), narrow.c_str(), args);
    va_end(args);
    out.assign(buffer.data(), evlog::utf8Cut(buffer.data(), kMessageMax));
}

void initializeErrorMap() {
    static OvCriticalSection section;
    const std::lock_guard lock(section);
    if (!needErrorMapInit) {
        return;
    }
    EvMgrsToVSDKErrorMap[-11] = {330, 0x23000F3E};
    EvMgrsToVSDKErrorMap[-10] = {329, 0x2300124E};
    EvMgrsToVSDKErrorMap[-4] = {260, 0x23000F3D};
    EvMgrsToVSDKErrorMap[0] = {259, 0x23000008};
    EvMgrsToVSDKErrorMap[-3] = {261, 0x230001C6};
    EvMgrsToVSDKErrorMap[-2] = {277, 0x230001C5};
    EvMgrsToVSDKErrorMap[-101] = {338, 0x23000453};
    EvMgrsToVSDKErrorMap[-104] = {336, 0x23000894};
    EvMgrsToVSDKErrorMap[-102] = {337, 0x23000EA0};
    EvMgrsToVSDKErrorMap[-103] = {339, 0x23000829};
    EvMgrsToVSDKErrorMap[-5] = {336, 0x23000894};
    needErrorMapInit = false;
}

void frameErrorMsg(std::string& message, unsigned long& code, int eventCode) {
    if (needErrorMapInit) {
        initializeErrorMap();
    }
    const auto row = EvMgrsToVSDKErrorMap.find(eventCode);
    if (row == EvMgrsToVSDKErrorMap.end()) {
        return;
    }
    code = row->second.first;
    if (message.empty()) {
        message = localisedMessage(eventCode, row->second.second, 0);
    }
}

void getLocaleErrorMsgFromVSDKErrorCode(std::string& out, unsigned long code, unsigned long arg) {
    if (needErrorMapInit) {
        initializeErrorMap();
    }
    const auto row =
        std::ranges::find_if(EvMgrsToVSDKErrorMap, [&](const auto& entry) { return entry.second.first == code; });
    out = row != EvMgrsToVSDKErrorMap.end() ? localisedMessage(row->first, row->second.second, arg) : std::string();
}

std::string filterPassword(const std::string& xml) {
    std::string masked;
    std::size_t written = 0; // what stands before it is in `masked`
    std::size_t at = 0;
    while ((at = xml.find(kPasswordOpening, at)) != std::string::npos) {
        const std::size_t value = at + kPasswordOpening.size();
        const std::size_t quote = xml.find("\" ", value);
        masked.append(xml, written, value - written);
        masked += kMask;
        if (quote == std::string::npos)
            return masked;
        written = quote;
        // The search goes on behind the quote's place in the text before the replacement, which lies elsewhere in the
        // text after it.
        const std::size_t size = quote - value;
        at = size > kMask.size() ? quote + 1 + (size - kMask.size()) : quote;
    }
    return masked.append(xml, written);
}

std::string filterPasswordAttrBased(const std::string& xml) {
    std::string lowerCase = xml;
    std::ranges::transform(lowerCase, lowerCase.begin(), lowered);
    std::string masked;
    std::size_t written = 0;
    std::size_t at = 0;
    while ((at = lowerCase.find(kPasswordOpening, at)) != std::string::npos) {
        const std::size_t value = at + kPasswordOpening.size();
        const std::size_t quote = xml.find('"', value);
        if (quote == std::string::npos)
            break;
        masked.append(xml, written, value - written);
        masked += kMask;
        written = quote;
        at = quote + 1;
    }
    return masked.append(xml, written);
}

std::string logXMLMessage(const std::string& xml) {
    if (xml.empty())
        return xml;
    const std::unique_ptr<CNMessageBase> message = XMLDecoder::unSerialize(xml);
    return message == nullptr ? kNoMessage : logXMLMessage(message.get());
}

std::string logXMLMessage(CNMessageBase* message) {
    if (message == nullptr)
        return "";
    std::string text;
    if (XMLEncoder::serialize(message, text, 0) != kMessageOk)
        return text.empty() ? "" : kNoMessage;
    return CNMessageBase::isOldWay(message->getTagID()) ? filterPasswordAttrBased(text) : text;
}

std::string UnixTimeToLocTimeString(unsigned long time) {
    if (time == 0) {
        return "now";
    }
    // What ctime does, whose buffer all threads share; ctime_r has no room for years beyond 9999, strftime follows the
    // locale.
    constexpr int kFirstYear = 1900;
    constexpr std::array kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const auto seconds = static_cast<std::time_t>(time);
    std::tm local{};
    tzset(); // localtime_r need not notice that the zone was changed
    if (localtime_r(&seconds, &local) == nullptr || local.tm_year > std::numeric_limits<int>::max() - kFirstYear) {
        return "";
    }
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%s %s%3d %.2d:%.2d:%.2d %d",
                  kDays.at(static_cast<std::size_t>(local.tm_wday)), kMonths.at(static_cast<std::size_t>(local.tm_mon)),
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, kFirstYear + local.tm_year);
    return text.data();
}
