#include <expat.h>

#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "Jobs.h"
#include "db/engines/sqlite/SqliteFunctions.h"
#include "jobmgr/OVManageDBForJM.h"

namespace {

/// Reads what there is: it checks neither that attributes are missing or there twice, nor ranges, nor limits; levels
/// are those of file systems.
class Reading {
  public:
    explicit Reading(_VSDK_JobSummary& summary) : summary_(summary) {}
    JobRecords takeJobs() { return std::move(jobs_); }

    static void start(void* self, const char* element, const char** attributes) {
        if (std::strcmp(element, "job") == 0)
            static_cast<Reading*>(self)->add(attributes);
    }

  private:
    void add(const char** attributes) {
        _VSDK_Job& job = jobs_.emplace_back();
        bool visible = false;
        for (; *attributes != nullptr; attributes += 2) {
            const std::string_view name = attributes[0];
            const std::string_view value = attributes[1];
            if (name == "jobId")
                job.jobId = number(value);
            else if (name == "operation")
                unescape(value, job.attr2);
            else if (name == "state")
                unescape(value, job.status);
            else if (name == "phase")
                unescape(value, job.attr5);
            else if (name == "visible")
                visible = number(value) != 0;
            else if (name == "agentType")
                unescape(value, job.attr7);
            else if (name == "instance")
                unescape(value, job.attr8);
            else if (name == "backupSet")
                unescape(value, job.attr9);
            else if (name == "subclient")
                unescape(value, job.attr10);
            else if (name == "failureReason")
                addReasons(value, job.failureReasons);
            else if (name == "destinationClient")
                unescape(value, job.attr6);
            else if (name == "userName")
                unescape(value, job.attr16);
            else if (name == "startTime")
                job.attr35 = number(value);
            else if (name == "level")
                job.backupLevel = getBkpLevelName(number(value));
        }
        if (visible)
            count(job.status);
        else
            jobs_.pop_back();
    }

    static int number(std::string_view text) {
        int value = 0;
        std::from_chars(text.data(), text.data() + text.size(), value);
        return value;
    }

    static void unescape(std::string_view value, std::string& text) {
        std::size_t escape = value.find('\\');
        for (; escape != std::string_view::npos; escape = value.find('\\')) {
            text += value.substr(0, escape);
            const bool byte = value.substr(escape + 1, 1) == "x";
            int code = '\\';
            if (byte)
                std::from_chars(value.data() + escape + 2, value.data() + value.size(), code, 16);
            text += static_cast<char>(code);
            value.remove_prefix(std::min(escape + (byte ? 4 : 2), value.size()));
        }
        text += value;
    }

    void addReasons(std::string_view value, std::vector<_VSDK_JobFailureReason>& reasons) {
        text_.clear();
        unescape(value, text_);
        std::string_view rest = text_;
        for (std::size_t end = 0; (end = rest.find('\r')) != std::string_view::npos;) {
            const int code = number(rest.substr(0, end));
            rest.remove_prefix(end + 1);
            const std::size_t words = std::min(rest.find('\n'), rest.size());
            reasons.push_back({code, std::string(rest.substr(0, words))});
            rest.remove_prefix(std::min(words + 1, rest.size()));
        }
    }

    void count(const std::string& state) {
        if (state == "Running")
            ++summary_.running;
        else if (state == "Pending")
            ++summary_.pending;
        else if (state == "Waiting")
            ++summary_.waiting;
        else if (state == "Suspended")
            ++summary_.suspended;
        else if (state == "Queued")
            ++summary_.queued;
    }

    JobRecords jobs_;
    _VSDK_JobSummary& summary_;
    std::string text_;
};

struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

} // namespace

JobRecords parseJobs(std::string_view xml, _VSDK_JobSummary& summary) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> parser(XML_ParserCreate("UTF-8"));
    Reading reading(summary);
    XML_SetUserData(parser.get(), &reading);
    XML_SetStartElementHandler(parser.get(), &Reading::start);
    if (XML_Parse(parser.get(), xml.data(), static_cast<int>(xml.size()), XML_TRUE) != XML_STATUS_OK)
        throw std::runtime_error(XML_ErrorString(XML_GetErrorCode(parser.get())));
    return reading.takeJobs();
}

void addJobFunctions(void* database) {
    if (hubdb::addSqliteFunctions(static_cast<sqlite3*>(database)) != SQLITE_OK)
        throw std::runtime_error("SQLite takes no functions");
}
