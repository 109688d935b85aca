#include "update/UpdateDriver.h"

#include <cstdio>
#include <string>

#include "update/RunLog.h"
#include "update/StatusFile.h"
#include "update/UpdateCodes.h"

using tolvane::TVString;

namespace {

// State of one run that the steps share.
struct Run {
  explicit Run(UpdateServices& s) : services(s) {}

  UpdateServices& services;
  std::string statusFile;
  TVString svnPath;
  TVString repositoryUrl;
  TVString dbFilename;
  TVString logFileName;
  int32_t dbVersion = 0;
  int32_t verbose = 1;
  int32_t doNotRunLog = 0;
  uint32_t startTick = 0;

  const char* status() const { return statusFile.c_str(); }

  // Ends a failed run after the cache was opened.
  int32_t fail(int32_t exitCode) {
    services.closeCache();
    return exitCode;
  }
};

int32_t Finish(Run& run) {
  run.services.setLastUpdateTime(run.services.currentTime());
  LogVerbose("Successfully synced the SVN cache.");
  int32_t closed = run.services.closeCache();
  if (closed != 0) {
    // Nothing of the run is in the file; keep the XML for the next attempt.
    ReportStatus(run.status(), update::kExitCacheClose, "Error closing cache database %s: error code %i",
                 run.dbFilename.getCString(), closed);
    return update::kExitCacheClose;
  }
  run.services.deleteFile(run.logFileName.getCString());
  LogVerbose("End revhaord");
  return update::kExitSynchronised;
}

// Parses the XML file as it stands, in one piece, and finishes.
int32_t ParseWholeFileAndFinish(Run& run) {
  int32_t result = run.services.parseSvnLog(run.logFileName.getCString());
  if (result != 0) {
    ReportStatus(run.status(), update::kExitParse, "Error parsing the latest revisions from SVN: error code %i",
                 result);
    return run.fail(update::kExitParse);
  }
  ReportStatus(run.status(), 0, "Successfully parsed the latest updates from SVN.");
  return Finish(run);
}

// Everything since the calendar day of the last update, local time.
int32_t IncrementalUpdate(Run& run, TVString command, cmDateStamp lastUpdate) {
  if (run.doNotRunLog == 1) return ParseWholeFileAndFinish(run);

  // The date texts cannot fail once the date layer is linked; until then a
  // failure ends the run as a failed client run would.
  TVString since;
  int32_t result = run.services.localIsoText(lastUpdate, since);
  TVString range;
  if (result == 0) result = run.services.localDateByPattern(lastUpdate, " -r\"{YYYY-MM-DD}:HEAD\"", range);
  if (result != 0) {
    ReportStatus(run.status(), update::kExitClient, "Error retrieving the latest updates from SVN: error code %i",
                 result);
    return run.fail(update::kExitClient);
  }
  LogVerbose("Updating the cache since: %s", since.getCString());
  command.append(range);
  command.append(" > ");
  command.append(QuoteArgument(run.logFileName));
  LogVerbose("Running update: %s", command.getCString());

  result = run.services.runSvn(run.svnPath, command);
  if (result != 0) {
    ReportStatus(run.status(), update::kExitClient, "Error retrieving the latest updates from SVN: error code %i",
                 result);
    return run.fail(update::kExitClient);
  }
  LogVerbose("Successfully retrieved the latest updates from SVN.");
  return ParseWholeFileAndFinish(run);
}

// Seconds since the start tick. A difference that wrapped past 2^32 counts
// one millisecond less.
uint32_t SecondsSinceStart(const Run& run) {
  uint32_t now = run.services.tickCount();
  uint32_t elapsed = now - run.startTick;
  if (now < run.startTick) elapsed -= 1;
  return elapsed / 1000u;
}

// The head revision first, then the newest million revisions in batches.
int32_t FirstImport(Run& run, const TVString& baseCommand) {
  if (run.doNotRunLog == 1) return ParseWholeFileAndFinish(run);

  LogVerbose("First cache update");
  TVString headCommand(baseCommand);
  headCommand.append(" -rHEAD > ");
  headCommand.append(QuoteArgument(run.logFileName));
  int32_t result = run.services.runSvn(run.svnPath, headCommand);
  if (result != 0) {
    ReportStatus(run.status(), update::kExitHeadRevision,
                 "Error retrieving the current revision of the repository from SVN: error code %i", result);
    return run.fail(update::kExitHeadRevision);
  }
  int32_t head = run.services.parseSvnLogForMaxRevision(run.logFileName.getCString());
  if (head < 0) {
    ReportStatus(run.status(), update::kExitHeadRevision, "Error parsing the current revision of the repository.");
    return run.fail(update::kExitHeadRevision);
  }
  LogVerbose("Repository is at revision %i.", head);

  int32_t start = 0;
  if (head > update::kMaxImportedRevisions) {
    start = head - update::kMaxImportedRevisions;
    LogVerbose("The revision count for this repository is %i, beginning import at revision %i.", head, start);
  }
  const int32_t total = static_cast<int32_t>((head - start) / static_cast<double>(update::kBatchSize));
  int32_t index = 0;
  bool more = true;
  do {
    ReportStatus(run.status(), 0, "%i of %i complete;%i;%i", index, total, index, total);
    // A batch that ends exactly at the head leaves `more` set: the next,
    // empty range is still asked for and its client run decides.
    int32_t end = start + (update::kBatchSize - 1);
    if (end > head) {
      end = head;
      more = false;
    }
    char range[200];
    std::snprintf(range, sizeof(range), " -r%i:%i", start, end);
    TVString command(baseCommand);
    command.append(range);
    LogVerbose("Caching revisions %i to %i", start, end);
    command.append(" > ");
    command.append(QuoteArgument(run.logFileName));
    LogVerbose("Running update: %s", command.getCString());

    result = run.services.runSvn(run.svnPath, command);
    if (result != 0) {
      ReportStatus(run.status(), update::kExitClient, "Error retrieving revisions %i to %i from SVN: error code %i",
                   start, end, result);
      return run.fail(update::kExitClient);
    }
    LogVerbose("Successfully retrieved revisions %i to %i from SVN.", start, end);

    result = run.services.parseSvnLog(run.logFileName.getCString());
    if (result != 0) {
      ReportStatus(run.status(), update::kExitParse, "Error parsing revisions %i to %i from SVN: error code %i", start,
                   end, result);
      return run.fail(update::kExitParse);
    }
    LogVerbose("Successfully parsed revisions %i to %i from SVN.", start, end);
    ++index;
    start += update::kBatchSize;

    // Looked at only between batches: a batch is never cut short.
    if (SecondsSinceStart(run) > update::kFirstImportSecondsLimit) {
      ReportStatus(run.status(), update::kExitTimeLimit, "SVN cache sync is incomplete after an hour.");
      return run.fail(update::kExitTimeLimit);
    }
  } while (more);

  ReportStatus(run.status(), 0, "%i of %i complete;%i;%i", total, total, total, total);
  return Finish(run);
}

}  // namespace

TVString QuoteArgument(const TVString& text) {
  TVString quoted;
  quoted.makeEmpty();
  if (text.first_char() != '"') quoted.append('"');
  quoted.append(text);
  if (text.last_char() != '"') quoted.append('"');
  return quoted;
}

int32_t ReadFirstDigitArgument(const char* argument) {
  TVString first(argument[0]);
  return first.toInt32(true, true);
}

int32_t UpdateMain(int argc, char** argv, UpdateServices& services) {
  Run run(services);
  run.startTick = services.tickCount();
  SetVerboseLog(true);
  SetLogOutputMode(kLogToStdout);

  if (argc < 6) {
    PrintStdout(
        "Usage: revhoard [svn exe path] [repository url] [cache file name] [log file name] [database version] "
        "[verbose (0/1)] [Do not run log (0/1)]\n");
    PrintStdout("Arg count = %d\n", argc);
    return update::kExitUsage;
  }

  run.svnPath = argv[1];
  run.repositoryUrl = argv[2];
  run.dbFilename = argv[3];
  run.logFileName = argv[4];
  run.dbVersion = ReadFirstDigitArgument(argv[5]);
  if (argc > 6) run.verbose = ReadFirstDigitArgument(argv[6]);
  if (argc > 7) run.doNotRunLog = ReadFirstDigitArgument(argv[7]);
  run.statusFile = StatusFileNameFor(run.dbFilename.getCString());

  SetVerboseLog(run.verbose == 1);
  SetLogOutputMode(kLogToStdout);
  ReportStatus(run.status(), 0, "Beginning SVN cache update.");

  run.svnPath.maybeSurround('"', 0);
  LogVerbose("svnPath = %s", run.svnPath.getCString());
  LogVerbose("repositoryUrl = %s", run.repositoryUrl.getCString());
  LogVerbose("dbFilename = %s", run.dbFilename.getCString());
  LogVerbose("logFileName = %s", run.logFileName.getCString());
  LogVerbose("dbVersion = %i", run.dbVersion);

  int32_t result = services.openCache(run.repositoryUrl, run.dbFilename, run.dbVersion);
  if (result != 0) {
    ReportStatus(run.status(), update::kExitCacheOpen, "Error opening SVN cache \"%s\": error code %i",
                 run.dbFilename.getCString(), result);
    return update::kExitCacheOpen;
  }

  // A failed read leaves zero, which means a first import.
  cmDateStamp lastUpdate = 0;
  services.getLastUpdateTime(lastUpdate);

  TVString baseCommand(" log --xml -v ");
  baseCommand.append(QuoteArgument(run.repositoryUrl));

  if (lastUpdate != 0) return IncrementalUpdate(run, baseCommand, lastUpdate);
  return FirstImport(run, baseCommand);
}
