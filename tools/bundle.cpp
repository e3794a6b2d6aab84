// One archive for support: what harbexctl knows of this NAS, without what only its user may know.
#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "checks.h"
#include "command_line.h"
#include "commands.h"
#include "common/error_code.h"
#include "common/file_descriptor.h"
#include "common/platform.h"
#include "common/trace_log.h"
#include "corvane/device/settings.h"
#include "redaction.h"
#include "text_table.h"

namespace harbex::tools {
namespace {

constexpr int kGenerations = 5;
constexpr size_t kMostOfAFile = size_t{8} << 20;
constexpr mode_t kMode = 0600;
constexpr int kDoctorTimeout_s = 13;

struct ArchiveFree {
    void operator()(archive* writer) const { archive_write_free(writer); }
};
struct EntryFree {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};

// A tar that is being written to an open descriptor.
class Tar {
public:
    explicit Tar(int fd) : writer_(archive_write_new()) {
        is_good_ = writer_ && archive_write_set_format_pax_restricted(writer_.get()) == ARCHIVE_OK &&
                   archive_write_open_fd(writer_.get(), fd) == ARCHIVE_OK;
    }

    void add(const std::string& name, const std::string& text) {
        if (!is_good_) return;
        const std::unique_ptr<archive_entry, EntryFree> entry(archive_entry_new());
        archive_entry_set_pathname(entry.get(), ("harbex-bundle/" + name).c_str());
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(text.size()));
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), kMode);
        archive_entry_set_mtime(entry.get(), time(nullptr), 0);
        is_good_ =
            archive_write_header(writer_.get(), entry.get()) == ARCHIVE_OK &&
            archive_write_data(writer_.get(), text.data(), text.size()) == static_cast<la_ssize_t>(text.size());
    }

    // Whether all is written.
    [[nodiscard]] bool close() { return is_good_ && archive_write_close(writer_.get()) == ARCHIVE_OK; }

private:
    std::unique_ptr<archive, ArchiveFree> writer_;
    bool is_good_ = false;
};

// The file, line by line through `redact`; nothing when it is none that can be read. Of a long one the end.
bool read_redacted(const std::string& path, std::string (*redact)(std::string_view), std::string& text) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    std::ifstream file(path, std::ios::binary);
    if (!file) return false;
    if (status.st_size > static_cast<off_t>(kMostOfAFile))
        file.seekg(-static_cast<off_t>(kMostOfAFile), std::ios::end);
    for (std::string line; std::getline(file, line);) {
        const std::string shown = redact(line);
        if (!shown.empty()) text += shown + "\n";
    }
    return true;
}

void add_file(Tar& tar, const std::string& folder, const std::string& path, std::string (*redact)(std::string_view)) {
    std::string text;
    if (read_redacted(path, redact, text)) tar.add(folder + path.substr(path.rfind('/') + 1), text);
}

std::string versions() {
    utsname kernel{};
    (void)uname(&kernel);  // it cannot fail
    return version_text() + "kernel " + kernel.release + " " + kernel.machine + "\nmodel " +
           system::get_model_name() + "\nfirmware " + system::get_firmware_version() + "\n";
}

// With "…" for the install path, which somebody chose.
std::string findings(const std::string& install_path) {
    std::vector<std::vector<std::string>> rows;
    for (const Finding& finding : check_everything(deadline_in(kDoctorTimeout_s)))
        rows.push_back({finding.is_good ? "good" : "BAD", finding.name, finding.found});
    std::string text = layout(rows);
    for (size_t at = 0; !install_path.empty() && (at = text.find(install_path, at)) != std::string::npos;)
        text.replace(at, install_path.size(), "…");
    return text;
}

void fill(Tar& tar) {
    std::string path;
    const bool is_installed = corvane::get_install_path(path) == NO_ERROR;
    tar.add("versions.txt", versions());
    tar.add("doctor.txt", findings(path));
    for (const char* settings : {system::kCorvaneConf, system::kBidConf, system::kPackagesConf})
        add_file(tar, "settings/", settings, redacted_setting);
    if (!is_installed) return;
    for (const char* log : {"/var/log/Harbex.log", "/var/log/harbex_network_service.log"}) {
        add_file(tar, "logs/", path + log, redacted_log_line);
        for (int generation = 1; generation <= kGenerations; ++generation)
            add_file(tar, "logs/", path + log + "." + std::to_string(generation), redacted_log_line);
    }
}

Outcome cannot_write(const std::string& path) {
    const int error = errno;
    return {ERR_SAVE_FILE, Cause{.ending = Ending::kLocalFile,
                                 .sentence = path + " cannot be written: " + strerror(error) + ".",
                                 .remedy = "name a new file in a directory that exists"}};
}

}  // namespace

Outcome bundle(Call& call) {
    const std::string& path = call.arguments[0];
    // A new file: nothing that stands there is followed or overwritten.
    const system::FileDescriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
    if (!file.is_open()) return cannot_write(path);
    Tar tar(file.get());
    fill(tar);
    if (!tar.close() || fsync(file.get()) != 0) {
        Outcome outcome = cannot_write(path);
        (void)unlink(path.c_str());
        return outcome;
    }
    call.data["file"] = path;
    call.text = path +
                " holds logs, settings, versions and the doctor's findings, without tokens, names and addresses "
                "of accounts.\n";
    return NO_ERROR;
}

}  // namespace harbex::tools
