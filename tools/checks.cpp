#include "checks.h"

#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "cloud_probe.h"
#include "common/http.h"
#include "corvane/cloud/endpoints.h"
#include "facts.h"
#include "services.h"
#include "time_text.h"

namespace harbex::tools {
namespace {

constexpr int64_t kNoEarlier = 1704067200;  // 2024: a clock before that was never set
constexpr int64_t kMostSkew_s = 120;
constexpr int64_t kSoon_s = int64_t{14} * 86400;
constexpr int kLongEnough_s = 60;
constexpr const char* kHangs = "a disk, a settings tool or a name server hangs";

struct Service {
    const char* name;
    const char* remedy;
};
constexpr Service kServices[] = {
    {system::kNetworkService, "start the application's daemon"},
    {system::kNetworkManager, "start the NAS's network manager"},
    {system::kEdgeDaemon, "harbexctl agent start"},
};

struct CloudHost {
    const char* name;  // while its address is unknown
    std::string (*url)(std::string path);
};
constexpr CloudHost kHosts[] = {
    {"organisation centre", corvane::get_org_center_api_url},
    {"account centre", corvane::get_account_center_api_url},
    {"sign-in centre", corvane::get_auth_connector_api_url},
    {"SD-WAN cloud", corvane::get_corvane_api_url},
};

struct CloudAnswer {
    std::string host;
    CloudFinding finding;
    bool has_answered = false;
};

Finding clock_alone(int64_t now) {
    const bool is_set = now >= kNoEarlier;
    return {"clock", is_set, time_text(now),
            is_set ? "" : "set the clock first: no certificate and no token can be judged before"};
}

// The first host that tells its time decides.
Finding clock_against(const std::vector<CloudAnswer>& clouds, int64_t now) {
    Finding clock = clock_alone(now);
    const auto told = std::find_if(clouds.begin(), clouds.end(),
                                   [](const CloudAnswer& cloud) { return cloud.finding.ahead_s.has_value(); });
    if (!clock.is_good || told == clouds.end()) return clock;
    const int64_t skew = *told->finding.ahead_s;
    clock.is_good = std::abs(skew) <= kMostSkew_s;
    clock.found +=
        ", " + std::to_string(std::abs(skew)) + (skew < 0 ? " s behind the cloud" : " s ahead of the cloud");
    if (!clock.is_good) clock.remedy = "set the clock: tokens and certificates are judged by it";
    return clock;
}

Finding judge_service(const Service& service, Life life, bool has_joined) {
    const bool is_needed = service.name != std::string_view(system::kEdgeDaemon) || has_joined;
    if (life == Life::kUp) return {service.name, true, "answers", ""};
    if (life == Life::kDown)
        return {service.name, !is_needed, is_needed ? "is not running" : "is not running; a join starts it",
                is_needed ? service.remedy : ""};
    return {service.name, false, "does not answer", "look into its log; it is there, but stuck"};
}

std::string remedy_of(int result) {
    switch (result) {
        case system::kCouldNotResolveHost:
            return "look at the NAS's name servers";
        case system::kCouldNotConnect:
        case system::kTransferTimedOut:
            return "look at the way to the internet, and at firewalls (TCP port of the host)";
        default:
            return "look at the clock and at who answers in the host's place";
    }
}

Finding judge_cloud(const CloudAnswer& answer, int64_t now) {
    if (!answer.has_answered) return {answer.host, false, "no answer in time", kHangs};
    const CloudFinding& finding = answer.finding;
    const std::string end =
        finding.certificate_end == 0 ? "" : ", certificate until " + time_text(finding.certificate_end).substr(0, 10);
    if (finding.result != 0) return {answer.host, false, finding.words + end, remedy_of(finding.result)};
    const bool is_soon = finding.certificate_end != 0 && finding.certificate_end - now < kSoon_s;
    return {answer.host, true, "answers" + end + (is_soon ? " (soon)" : ""), ""};
}

Finding judge_names(const std::vector<CloudAnswer>& clouds) {
    std::string missing;
    bool is_known = false;
    for (const CloudAnswer& cloud : clouds) {
        is_known = is_known || cloud.has_answered;
        missing += !cloud.has_answered || cloud.finding.has_address ? "" : " " + cloud.host;
    }
    if (!is_known) return {"name resolution", false, "no answer in time", kHangs};
    if (missing.empty()) return {"name resolution", true, "every cloud host has an address", ""};
    return {"name resolution", false, "no address for" + missing, remedy_of(system::kCouldNotResolveHost)};
}

// The bus has no process of its own: it is there as long as a service has its name on it.
Finding judge_bus(const std::vector<Life>& lives) {
    const auto found = std::count_if(lives.begin(), lives.end(), [](Life life) { return life != Life::kDown; });
    return {"service bus", found != 0,
            std::to_string(found) + " of " + std::to_string(lives.size()) + " services are on it",
            found != 0 ? "" : "start the NAS's services; they make /var/run/bsvc"};
}

Finding judge_token(const AccountToken& token, int64_t now) {
    const std::string name = "sign-in";
    if (!token.is_known) return {name, false, "the settings cannot be read", "look at the settings below"};
    if (!token.is_present) return {name, true, "nobody is signed in", ""};
    if (token.is_valid(now)) return {name, true, "valid until " + time_text(token.expires_at_s), ""};
    return {name, false, "expired " + time_text(token.expires_at_s), "harbexctl token refresh, or harbexctl sign-in"};
}

// Settings tell a host's address: that is asked for beside the rest, too.
std::vector<Source> cloud_sources(std::vector<CloudAnswer>& answers) {
    std::vector<Source> sources;
    for (const CloudHost& host : kHosts) {
        const size_t index = answers.size();
        answers.push_back({host.name, {}, false});
        sources.emplace_back([&host, index, &answers] {
            const std::string url = host.url("");
            CloudAnswer answer{url.empty() ? host.name : host_of(url), look_at_cloud(url), true};
            return [answer = std::move(answer), index, &answers] { answers[index] = answer; };
        });
    }
    return sources;
}

}  // namespace

std::vector<Finding> check_everything(Deadline deadline) {
    std::vector<CloudAnswer> clouds;
    std::vector<Source> sources = cloud_sources(clouds);
    std::vector<Life> lives(std::size(kServices), Life::kSilent);
    for (size_t index = 0; index < lives.size(); ++index) {
        sources.emplace_back([index, &lives] {
            const Life life = probe(kServices[index].name, kLongEnough_s);
            return [life, index, &lives] { lives[index] = life; };
        });
    }
    std::vector<Finding> files = {{"files", false, "no answer in time", kHangs}};
    sources.emplace_back(
        [&files] { return [found = check_files(), &files]() mutable { files = std::move(found); }; });
    Enrolment enrolment;
    sources.emplace_back(
        [&enrolment] { return [found = read_enrolment(), &enrolment]() mutable { enrolment = std::move(found); }; });
    (void)ask_all(sources, deadline);  // who was silent has kept what it began with

    const int64_t now = time(nullptr);
    std::vector<Finding> findings = {clock_against(clouds, now), judge_bus(lives)};
    for (size_t index = 0; index < lives.size(); ++index)
        findings.push_back(judge_service(kServices[index], lives[index], enrolment.is_on_corvane.value_or(false)));
    findings.push_back(judge_names(clouds));
    for (const CloudAnswer& cloud : clouds)
        findings.push_back(judge_cloud(cloud, now));
    findings.push_back(judge_token(enrolment.token, now));
    findings.insert(findings.end(), files.begin(), files.end());
    return findings;
}

}  // namespace harbex::tools
