#pragma once
#include <string_view>

// The built-in English texts of the programs. install/res/<language>/resource.txt holds the same keys; what
// is missing there is taken from here. {1}, {2}, ... stand for values.
namespace apps {

struct BuiltInText {
  std::string_view key;
  std::string_view english;
};

// clang-format off
inline constexpr BuiltInText kTexts[] = {
    // Command lines and configuration of velad.
    {"VELAD_UNKNOWN_ARGUMENT", "unknown argument '{1}'; see velad --help"},
    {"VELAD_NO_FILE", "-f needs the name of a configuration file"},
    {"CONFIG_NOT_FOUND", "there is no configuration file '{1}' (looked for {2}, {3}, {4})"},
    {"CONFIG_BAD_NUMBER", "{1} = {2} is not a number from {3} to {4}"},
    {"CONFIG_NO_PROCESS", "the key ProcNumber is missing"},
    {"CONFIG_CLIENT_NUMBER", "ProcNumber = 3003 belongs to the clients"},
    // Start of velad.
    {"SERVER_NO_LOG", "the log cannot be opened in {1}"},
    {"SERVER_NO_LOCKS", "{1} cannot be read, or a line of it is wrong; operations would not exclude each other. The log names the lines"},
    {"HANDLERS_NOT_LOADED", "the handler set {1} cannot be loaded: {2}"},
    {"HANDLERS_TAKEN", "the handler set {1} serves a command that another set serves already; the log names it"},
    {"HANDLERS_NOT_STARTED", "the handler set {1} did not start, code {2}; the log says why"},
    {"SERVER_NO_WORKERS", "the worker threads cannot be started"},
    {"SERVER_NO_TASKS", "the service tasks cannot be started"},
    {"SERVER_NO_FILES", "the file service cannot be started; look into the log"},
    {"SERVER_ADDRESS_TAKEN", "the address {1} is taken by another process; give this one its own ProcHandle"},
    {"SERVER_NO_BUS", "cannot open the message bus below {1}; look into the log in {2}"},
    // The audit on the server.
    {"TYPES_BAD_LINE", "{1}:{2}: a type twice, or a version that is not numbers and dots"},
    {"TYPES_NONE", "{1} holds no type"},
    {"AUDIT_READING", "Reading {1} records"},
    {"AUDIT_CHECKING", "Checking {1}: {2} NEs"},
    {"AUDIT_UNKNOWN_TYPES", "unknown types"},
    {"AUDIT_COMPARING", "Comparing identifiers and addresses"},
    {"AUDIT_DONE", "Audit done"},
    // Command line of velactl.
    {"VELACTL_NO_COMMAND", "no command is given; see velactl --help"},
    {"VELACTL_UNKNOWN_COMMAND", "unknown command '{1}'; see velactl --help"},
    {"SEE_HELP", "{1}; see velactl {2} --help"},
    {"OPTION_BAD_PROCESS", "--process takes N or N/HANDLE, N from 1 to 65535, HANDLE from 1 to 10000"},
    {"OPTION_BAD_TIMEOUT", "--timeout takes seconds, 1 to 1000000"},
    {"OPTION_UNKNOWN", "unknown option '{1}'"},
    {"AUDIT_TWO_FILES", "one inventory file at a time"},
    {"AUDIT_NO_FILE", "no inventory file is named"},
    // Inventory files.
    {"INVENTORY_LINE", "line {1}: {2}"},
    {"INVENTORY_QUOTE_END", "text behind the closing quote of a field"},
    {"INVENTORY_QUOTE_INSIDE", "a quote inside a field that does not begin with one"},
    {"INVENTORY_QUOTE_OPEN", "a quoted field is not closed"},
    {"INVENTORY_NOT_UTF8", "bytes that are not UTF-8"},
    {"INVENTORY_CONTROL", "a control character"},
    {"INVENTORY_NO_HEAD", "the head is missing: {1}"},
    {"INVENTORY_UNKNOWN_COLUMN", "column '{1}' is not known; the head is {2}"},
    {"INVENTORY_COLUMN_TWICE", "column '{1}' stands there twice"},
    {"INVENTORY_NO_COLUMN", "column '{1}' is missing"},
    {"INVENTORY_FIELDS", "{1} fields instead of {2}"},
    {"INVENTORY_EMPTY", "no NE follows the head"},
    {"INVENTORY_TOO_LARGE", "{1}: larger than {2} MiB; split it"},
    // The audit on the client.
    {"CLIENT_NO_LOG", "the log cannot be opened below {1}; check that you may write there"},
    {"CLIENT_NO_BUS", "cannot open the message bus below {1}; the log in var/logs/Develop tells why"},
    {"CLIENT_NO_SERVER", "no server process {1} is running below {2}; start one with velad, or name another one with --process"},
    {"SERVER_ENDED", "server process {1} ended before it answered; start it again, then repeat the request"},
    {"SERVER_FAILED", "server process {1} failed with code {2}; look into its log"},
    {"AUDIT_NOTHING_SENT", "{1}; nothing was sent"},
    {"AUDIT_TOO_MANY", "{1}: {2} NEs are more than one request can carry; split the file"},
    {"CLIENT_SENDING", "Sending {1} NEs"},
    {"CLIENT_CANCELLING", "cancelling; Ctrl-C again leaves at once"},
    {"CLIENT_CANCEL_REFUSED", "the server did not take the cancel; Ctrl-C again leaves without its answer"},
    {"CLIENT_LEFT", "left without the server's answer"},
    {"AUDIT_ENDED_EARLY", "the audit ended early"},
    {"AUDIT_INCOMPLETE", "{1}; the result is incomplete, repeat the audit for all of it"},
    {"CLIENT_NOT_WRITTEN", "the result cannot be written to standard output"},
    {"AUDIT_HEAD_LINE", "LINE"},
    {"AUDIT_HEAD_FAULT", "FAULT"},
    {"AUDIT_HEAD_NE", "NE"},
    {"AUDIT_HEAD_NAME", "NAME"},
    {"AUDIT_HEAD_TEXT", "TEXT"},
    {"AUDIT_OTHER_LINE", "{1}, line {2}"},
    {"AUDIT_SUMMARY", "{1} of {2} NEs checked, {3} faults found"},
    {"AUDIT_OMITTED", "{1} more faults did not fit into the answer"},
    // Results of requests, by code in hexadecimal. {1}: the server process.
    {"ERR4101F003", "server process {1} gave no sign of life for a long time; look into its log"},
    {"ERR4101F008", "server process {1} failed; look into its log"},
    {"ERR4101F00A", "server process {1} and this program do not understand each other; look into its log"},
    {"ERR4101F00E", "memory is exhausted; split the file or try again later"},
    {"ERR4101F020", "server process {1} is overloaded; try again in a moment"},
    {"ERR4101F021", "server process {1} is shutting down; start it again, then repeat the request"},
    {"ERR4101F022", "server process {1} is not running any more; start it, then repeat the request"},
    {"ERR4101F023", "server process {1} does not know this request; name another one with --process"},
    {"ERR4101F024", "the request is too large for one message; split the file"},
    // Why an audit ended early, by code. {1} of {2} records were checked.
    {"ERR42010001", "the audit was cancelled after {1} of {2} records"},
    {"ERR42010002", "the time-out ended the audit after {1} of {2} records"},
    {"ERR42010003", "the server was told to end after {1} of {2} records"},
    {"ERR42010005", "the client has died after {1} of {2} records"},
    // Faults of NEs, by code. {1}: the value at fault.
    {"ERR42010101", "identifier {1} is not high-low with numbers up to 65535"},
    {"ERR42010102", "the name is empty"},
    {"ERR42010103", "address {1} is not an IPv4 address"},
    {"ERR42010104", "address {1} cannot belong to one NE"},
    {"ERR42010105", "type {1} is not known"},
    {"ERR42010106", "version {1} is not numbers joined by dots"},
    {"ERR42010107", "version {1} is below {2}, the lowest supported one of {3}"},
    {"ERR42010108", "identifier {1} is also that of {2}"},
    {"ERR42010109", "address {1} is also that of {2}"},
    // Operations on NEs on the server.
    {"FAULTS_BAD_LINE", "{1}:{2}: no such place or fault, or one that has a fault already"},
    {"PLACE_BOARD", "{1}, slot {2}"},
    {"PLACE_PORT", "{1}, slot {2}, port {3}"},
    {"OPER_CONFIGURING", "Configuring {1}"},
    {"OPER_INSPECTING", "Inspecting {1}"},
    {"OPER_CONFIGURE", "a configuration"},
    {"OPER_INSPECT", "an inspection"},
    {"OPER_UPLOAD", "an upload"},
    {"OPER_RESET", "a reset"},
    {"LOCK_BLOCKER", "{1} of user {2} at process {3} has been at work there since {4}"},
    {"LOCK_PROGRESS", "{1}, {2}% done"},
    {"LOCK_BLOCKER_GONE", "the operation that was in the way has ended meanwhile"},
    // Operations on NEs on the client.
    {"OPER_TWO_LISTS", "one list of NEs at a time, without blanks"},
    {"OPER_BAD_NE", "'{1}' is neither an NE like 9-1 nor a range like 9-1..9-8"},
    {"OPER_TOO_MANY_NES", "more than {1} NEs"},
    {"OPER_BAD_SECONDS", "--seconds takes a number from 0 to {1}"},
    {"OPER_NO_NES", "no NEs are named"},
    {"OPER_HEAD_CODE", "CODE"},
    {"OPER_HEAD_POSITION", "POSITION"},
    {"OPER_HEAD_TEXT", "TEXT"},
    {"OPER_SUMMARY", "{1} NEs asked for, {2} with errors, {3} errors"},
    {"OPER_REFUSED", "refused with code {1}: {2}; nothing was done, repeat the request"},
    {"OPER_REFUSED_AT", "refused with code {1} because of {2}: {3}; nothing was done. Wait for its end or leave {2} out, then repeat the request"},
    // Results of operations on NEs, by code. {1} of {2} NEs were worked on.
    {"ERR42010201", "the operation was cancelled after {1} of {2} NEs"},
    {"ERR42010202", "the time-out ended the operation after {1} of {2} NEs"},
    {"ERR42010203", "the server was told to end after {1} of {2} NEs"},
    {"ERR42010205", "the client has died after {1} of {2} NEs"},
    {"ERR42010206", "1 to {1} NEs can be worked on at a time, and 0-0 is none"},
    {"ERR42010207", "some NEs have errors; mend what they say, then repeat the request for them"},
    {"ERR42010208", "{1} more errors did not fit into the answer"},
    // Errors of NEs, boards and ports, by code. {1}: what the port carries.
    {"ERR42010221", "the connection to the NE broke; nothing is known of its boards"},
    {"ERR42010222", "there is no board in the slot"},
    {"ERR42010223", "the board's memory is full"},
    {"ERR42010224", "the port carries {1}"},
    {"ERR42010225", "the port does not answer"},
    // Missions that are spread over processes.
    {"SPREAD_BAD_ON_FAILURE", "--on-failure takes go-on, move or stop"},
    {"SPREAD_STILL", "nothing has moved for {1} seconds; Ctrl-C stops the mission"},
    {"SPREAD_PART_DONE", "done"},
    {"SPREAD_PART_CHECKED", "checked, the result is awaited"},
    {"SPREAD_PART_FAILED", "failed: {1}"},
    {"SPREAD_PART_STOPPED", "stopped"},
    {"SPREAD_PART_ENDED", "server process {1} is not running (any more)"},
    {"SPREAD_PART_REFUSED", "server process {1} cannot be reached, code {2}"},
    {"SPREAD_PART_SILENT", "server process {1} gave no sign of life for {2} seconds"},
    {"SPREAD_PART_STOPPING", "server process {1} was told to end"},
    {"SPREAD_HEAD_PROCESS", "PROCESS"},
    {"SPREAD_HEAD_RECORDS", "NES"},
    {"SPREAD_HEAD_CHECKED", "CHECKED"},
    {"SPREAD_HEAD_MOVED", "MOVED"},
    {"SPREAD_HEAD_STATE", "STATE"},
    {"MISSIONS_NONE", "no missions are under way"},
    {"MISSIONS_HEAD_MISSION", "MISSION"},
    {"MISSIONS_HEAD_OWNER", "OWNER"},
    {"MISSIONS_HEAD_CLIENT", "CLIENT"},
    {"MISSIONS_HEAD_DONE", "DONE"},
    {"MISSIONS_HEAD_AGE", "AGE"},
    {"MISSIONS_HEAD_PARTS", "PARTS"},
    {"MISSIONS_AGE", "{1} s"},
    {"MISSIONS_STOPPED", "stopped"},
    // Why such a mission was refused, or is incomplete, by code.
    {"ERR42011001", "server process {1} knows no processes to spread a mission over; set SpreadProcesses in its configuration"},
    {"ERR42011002", "server process {1} runs this mission already"},
    {"ERR42011003", "parts of the mission have failed; {1} of {2} records were checked, repeat the request for the rest"},
    {"ERR42011005", "there is nothing to check"},
    // The operator's console.
    {"DEBUG_NO_PROCESS", "no process is named"},
    {"DEBUG_BAD_PROCESS", "'{1}' is neither N nor N/HANDLE, N from 1 to 65535, HANDLE from 1 to 10000"},
    {"DEBUG_NOT_RUNNING", "no process {1} with a console is running below {2}; velactl ps lists those that are"},
    {"DEBUG_NOT_ALLOWED", "the processes are another user's; only that user and root may connect"},
    {"DEBUG_NO_CONNECTION", "the console of process {1} cannot be reached: {2}"},
    {"DEBUG_REFUSED", "process {1} refused: {2}"},
    {"DEBUG_NO_REPLY", "process {1} gave no reply within {2} seconds; the command may still run"},
    {"DEBUG_BROKEN", "the connection to process {1} ended before its reply; the command may have run"},
    {"DEBUG_NOT_ONE_LINE", "a command is one line without control characters"},
    {"DEBUG_WELCOME", "Console of process {1}: help lists the commands, Tab completes, Ctrl-D or exit leaves."},
    {"PS_NONE", "no server processes are running below {1}"},
    {"PS_HEAD_NUMBER", "NUMBER"},
    {"PS_HEAD_HANDLE", "HANDLE"},
    {"PS_HEAD_UPTIME", "UPTIME"},
    {"PS_HEAD_MISSIONS", "MISSIONS"},
    {"PS_HEAD_LOCKS", "LOCKS"},
    {"PS_HEAD_HOST", "HOST"},
    {"PS_HEAD_STATE", "STATE"},
    {"PS_PRESENT", "present"},
    {"PS_SILENT", "silent: it may be dead"},
    // Missions on NEs.
    {"MISSION_FETCHING", "{1} of {2} files fetched"},
    {"MISSION_PART_MOVED", "moved to {1}"},
    {"MISSION_RESULTS_OMITTED", "{1}; {2} results did not fit into the answer, repeat the request for fewer NEs"},
    // Why such a mission was refused or is incomplete, and errors of its parts and NEs, by code. {1} of {2} NEs were
    // worked on.
    {"ERR42012001", "the mission was cancelled after {1} of {2} NEs"},
    {"ERR42012002", "the time-out ended the mission after {1} of {2} NEs; repeat the request for the others, with more time"},
    {"ERR42012003", "the server was told to end after {1} of {2} NEs; repeat the request when it runs again"},
    {"ERR42012004", "the client has died after {1} of {2} NEs"},
    {"ERR42012005", "1 to {1} NEs can be worked on at a time, and 0-0 is none"},
    {"ERR42012006", "all NEs were worked on, some have errors; mend what they say, then repeat the request for them"},
    {"ERR42012007", "{1} of {2} NEs were worked on; see why the others were not, then repeat the request for them"},
    {"ERR42012008", "the topology service does not answer, code {1}; start it (velad -f topology.cfg), then repeat the request"},
    {"ERR42012011", "an upload of one of the NEs runs; wait for its end or leave the NE out"},
    {"ERR42012012", "a reset of one of the NEs runs; wait for its end or leave the NE out"},
    {"ERR42012021", "no NE manager {1} runs; start one, then repeat the request for its NEs"},
    {"ERR42012022", "NE manager {1} has ended or was started anew; when one runs, repeat the request for its NEs"},
    {"ERR42012023", "NE manager {1} gave no sign of life for {2} seconds; look into its log, then repeat the request for its NEs"},
    {"ERR42012024", "NE manager {1} did not do its part: {2}"},
    {"ERR42012031", "the topology service does not know the NE; add it to conf/network.cfg, or correct its number"},
    {"ERR42012032", "the configuration could not be written or compressed; look for space and rights on the disk of the NE manager"},
    {"ERR42012033", "file {1} could not be fetched from NE manager {2}, code {3}; look into both logs"},
    {"ERR42012034", "another server works on the NE; repeat the request later"},
    // Files of servers.
    {"FILE_NO_VERB", "get, put, ls or rm is missing"},
    {"FILE_BAD_VERB", "'{1}' is none of get, put, ls and rm"},
    {"FILE_NO_PROCESS", "no server process is named"},
    {"FILE_BAD_PROCESS", "'{1}' is no server process: N or N/HANDLE, N from 1 to 65535, HANDLE from 1 to 10000"},
    {"FILE_NO_PATH", "no file of the server is named"},
    {"FILE_NO_NAME", "'{1}' names no file"},
    {"FILE_ONE_TOO_MANY", "'{1}' is one argument too many"},
    {"FILE_NO_SERVER", "no server process {1} is running below {2}; start one with velad"},
    {"FILE_NO_SERVICE", "server process {1} offers no files; FileService in its configuration switches them on"},
    {"FILE_NOT_ORDINARY", "{1} is no ordinary file"},
    {"FILE_NOT_READ", "{1} cannot be read: {2}"},
    {"FILE_NOT_WRITTEN", "{1} cannot be written: {2}; nothing was changed"},
    {"FILE_DAMAGED", "what server process {1} sent for {2} is damaged; nothing was changed"},
    {"FILE_GROWS", "{1} becomes larger than {2} MiB, which InflateMaxFileMiB allows; nothing was changed"},
    {"FILE_ONE_MESSAGE", "{1} does not fit into one message, even packed; split it"},
    {"FILE_TOO_LARGE", "{2} is larger than server process {1} allows, or than one message can carry; split it"},
    {"FILE_LEFT", "interrupted; the file is the old one or the new one, never a part of it"},
    {"FILE_WAITING", "Asking process {2} for {1}"},
    {"FILE_WRITING", "Writing {1}"},
    {"FILE_PACKING", "Packing {1}"},
    {"FILE_SENDING", "Sending {1} to process {2}"},
    {"FILE_GOT", "{1} of process {2}: {3} bytes, written to {4}"},
    {"FILE_SENT", "{1}: {2} bytes, written to {3} of process {4}"},
    {"FILE_REMOVED", "{1} of process {2} removed"},
    // Why a server did not do it, by code. {1}: the server process, {2}: the file.
    {"ERR4101F040", "server process {1} refuses {2}; what may be read, written and deleted stands in its vela.cfg, the reason in its log"},
    {"ERR4101F041", "server process {1} has no {2}"},
    {"ERR42008134", "server process {1} cannot write {2}; is its disk full?"},
    // The small network-management server on the client, and what operators ask of servers.
    {"NES_ALL_AND_LIST", "NEs are named beside --all"},
    {"NES_NONE_NAMED", "no NEs are named; --all takes all of them"},
    {"NES_BAD_REPORT", "the errors of the NEs cannot be read; look into the server's log"},
    {"NES_DONE", "done"},
    {"NES_FAILED", "failed"},
    {"NES_PART_FAILED", "process {1} did {2} of its {3} NEs: {4}"},
    {"NES_SUMMARY", "{1} of {2} NEs worked on, {3} failed, {4} errors"},
    {"NES_REFUSED", "refused with code {1}: {2}; nothing was done. Wait for its end, then repeat the request, or name other NEs"},
    {"NES_HEAD_NE", "NE"},
    {"NES_HEAD_NAME", "NAME"},
    {"NES_HEAD_TYPE", "TYPE"},
    {"NES_HEAD_MANAGER", "MANAGER"},
    {"NES_HEAD_RESULT", "RESULT"},
    {"NES_HEAD_VERSION", "VERSION"},
    {"NES_HEAD_BOARDS", "BOARDS"},
    {"NES_HEAD_PORTS", "PORTS"},
    {"NES_HEAD_ALARMS", "ALARMS"},
    {"NES_HEAD_TIME", "TIME"},
    {"NES_HEAD_LAST", "LAST"},
    {"NES_HEAD_ERRORS", "ERRORS"},
    {"NES_KNOWN", "{1} NEs"},
    {"NES_UNKNOWN", "the topology service does not know {1}; velactl nes lists those that it knows"},
    {"CLIENT_NO_SERVERS", "no server process is running below {1}; start one with velad"},
    {"CLIENT_TIME_LEFT", "time left"},
    {"CLIENT_SECONDS", "about {1} s"},
    {"CLIENT_MINUTES", "about {1} min"},
    {"SESSIONS_NONE", "no operations are known"},
    {"SESSIONS_RUNNING", "under way"},
    {"SESSIONS_FAILED", "ended with code {1}"},
    {"SESSIONS_HEAD_CLIENT", "CLIENT"},
    {"SESSIONS_HEAD_USER", "USER"},
    {"SESSIONS_HEAD_OPERATION", "OPERATION"},
    {"SESSIONS_HEAD_NES", "NES"},
    {"SESSIONS_HEAD_TIME", "TIME"},
    {"SESSIONS_HEAD_STATE", "STATE"},
    {"RELOAD_BAD_PROCESS", "one process is to be named: N, N/HANDLE or all"},
    {"RELOAD_NO_NAME", "--language takes the name of a folder below res, like en_US"},
    {"RELOAD_FAILED", "not all processes have read their files again; those that have not are as they were. Mend what they say, then repeat the request"},
    {"RELOAD_HEAD_PROCESS", "PROCESS"},
    {"RELOAD_HEAD_LANGUAGE", "LANGUAGE"},
    {"RELOAD_HEAD_RESULT", "RESULT"},
    {"RELOAD_BAD_LANGUAGE", "there is no language '{1}', or its resource.txt below res cannot be read; nothing was changed"},
    {"RELOAD_BAD_SWITCHES", "{1}: module {2} does not have four switches, or the file cannot be read; nothing was changed"},
    {"RELOAD_NO_MUTEX", "{1} cannot be read; nothing was changed"},
    {"RELOAD_BAD_MUTEX", "{1}: line {2} is wrong; nothing was changed"},
    {"TOP_BAD_INTERVAL", "--interval takes seconds, 1 to 3600"},
    {"TOP_JSON_ONCE", "--json needs --once"},
    {"TOP_NO_TERMINAL", "standard input and output are no terminal; --once prints a single view"},
    {"TOP_SUMMARY", "{1}: {2} server processes, {3} clients; the topology service told of {5} changed NEs in {4} messages"},
    {"TOP_KEYS", "q leaves"},
    {"TOP_SERVES", "serves"},
    {"TOP_NO_ANSWER", "no answer"},
    {"TOP_ENDED", "has ended"},
    {"TOP_NO_HANDLER", "without admin"},
    {"TOP_SECONDS", "{1} s"},
    {"TOP_MINUTES", "{1} min"},
    {"TOP_HOURS", "{1} h"},
    {"TOP_DAYS", "{1} d"},
    {"TOP_HEAD_PROCESS", "PROCESS"},
    {"TOP_HEAD_STATE", "STATE"},
    {"TOP_HEAD_UP", "UP"},
    {"TOP_HEAD_MEMORY", "MEMORY"},
    {"TOP_HEAD_RUNNING", "RUN"},
    {"TOP_HEAD_QUEUED", "WAIT"},
    {"TOP_HEAD_SERVED", "SERVED"},
    {"TOP_HEAD_LOCKS", "LOCKS"},
    {"TOP_HEAD_FRAMES", "FRAMES"},
    {"TOP_HEAD_THREADS", "THREADS"},
    {"TOP_HEAD_FILES", "FILES"},
    {"TOP_HEAD_SENT", "SENT"},
    {"TOP_HEAD_RECEIVED", "RECEIVED"},
    {"TOP_HEAD_LOST", "LOST"},
    {"TOP_HEAD_LOG_LOST", "LOG LOST"},
    {"TOP_HEAD_MISSION", "MISSION"},
    {"TOP_HEAD_CLIENT", "CLIENT"},
    {"TOP_HEAD_DONE", "DONE"},
    {"TOP_HEAD_AGE", "AGE"},
    {"TOP_HEAD_WHAT", "WHAT"},
    // Help, a line for each numbered key of a resource file.
    {"VELAD_HELP",
     "velad - a server process of the network-management platform\n"
     "\n"
     "usage: velad [-f FILE]\n"
     "\n"
     "  -f FILE     the configuration file, by default velad.cfg. Looked for as ../conf/FILE from the folder of\n"
     "              the program, then as $VELA_ROOT/conf/FILE, then as FILE itself. Its keys: ProcNumber and\n"
     "              ProcHandle (the address), WorkerThreads, QueueLimit, StopSeconds, MutexFile,\n"
     "              LogDirectory, HandlerSets (what it serves).\n"
     "  --help      this text\n"
     "  --version   the version\n"
     "\n"
     "Prints \"ready\" when it serves, ends with SIGTERM, SIGINT or SIGHUP: running requests may take StopSeconds to\n"
     "end, waiting ones are answered with an error. Exit code 0, or 1 when it could not serve.\n"
     "VELA_ROOT names the installation root; logs are in var/logs/Develop/velad_<ProcHandle>/ below it.\n"},
    {"VELACTL_HELP",
     "velactl - client of the server processes of one installation root\n"
     "\n"
     "usage: velactl COMMAND ...\n"
     "\n"
     "  audit FILE     check an inventory of NEs; see velactl audit --help\n"
     "  spread FILE    the same on several processes at once; see velactl spread --help\n"
     "  missions       list missions that are spread over processes; see velactl missions --help\n"
     "  configure NES  configure NEs; see velactl configure --help\n"
     "  inspect NES    look at NEs; see velactl inspect --help\n"
     "  debug PROCESS  the operator's console of a process; see velactl debug --help\n"
     "  ps             list the running server processes; see velactl ps --help\n"
     "  file VERB      get, put, list and remove files of a server; see velactl file --help\n"
     "  upload NES     fetch what is configured on NEs; see velactl upload --help\n"
     "  reset NES      start NEs anew; see velactl reset --help\n"
     "  nes [NES]      list NEs; see velactl nes --help\n"
     "  sessions       list the operations of all clients; see velactl sessions --help\n"
     "  top            watch the server processes; see velactl top --help\n"
     "  reload PROCESS let processes read their files again; see velactl reload --help\n"
     "  --help         this text\n"
     "  --version      the version\n"
     "\n"
     "VELA_ROOT names the installation root, the same as the server's.\n"},
    {"AUDIT_HELP",
     "velactl audit - check an inventory of NEs on a server\n"
     "\n"
     "usage: velactl audit FILE [--process N[/HANDLE]] [--timeout S] [--json]\n"
     "\n"
     "  FILE        CSV with the columns identifier, name, type, address, version and position, named by its\n"
     "              first line\n"
     "  --process   number of the server process, and which instance of it; by default 100 and any\n"
     "  --timeout   seconds after which the audit ends with what it has found\n"
     "  --json      print the result as JSON\n"
     "\n"
     "Prints the faults to standard output, the progress to standard error. Ctrl-C cancels the audit and prints\n"
     "what was found so far; a second one leaves at once. Exit code 0 when the audit ran to its end, 1 when not\n"
     "(the reason is on standard error), 130 after a second Ctrl-C.\n"},
    {"OPER_HELP",
     "velactl configure, velactl inspect - work on NEs through a server\n"
     "\n"
     "usage: velactl configure NES [--seconds N] [--process N[/HANDLE]] [--timeout S] [--json]\n"
     "       velactl inspect NES ...\n"
     "\n"
     "  NES         NEs and ranges of them: 9-1,9-5..9-8\n"
     "  --seconds   how long the work takes at least, 0 to 86400; by default 0\n"
     "  --process   number of the server process, and which instance of it; by default 100 and any\n"
     "  --timeout   seconds after which the operation ends with what it has done\n"
     "  --json      print the result as JSON\n"
     "\n"
     "An NE is configured by one request at a time; inspections get in nobody's way. Who excludes whom stands in\n"
     "conf/mutex.cfg. Prints the errors of NEs, boards and ports to standard output, the progress to standard\n"
     "error. Ctrl-C cancels the operation; a second one leaves at once. Exit code 0 when all was done without\n"
     "errors, 2 when the request was refused because of an operation on the same NEs, 1 when anything else went\n"
     "wrong (the reason is on standard error), 130 after a second Ctrl-C.\n"},
    {"SPREAD_HELP",
     "velactl spread - check an inventory of NEs on several server processes at once\n"
     "\n"
     "usage: velactl spread FILE [--process N[/HANDLE]] [--on-failure WHAT] [--timeout S] [--json]\n"
     "\n"
     "  FILE          CSV as for velactl audit\n"
     "  --process     number of the server process that owns the mission, and which instance of it; by default 101\n"
     "                and any. The processes that share the work stand in its configuration (SpreadProcesses)\n"
     "  --on-failure  when one of them ends or fails: go-on without its part (the default), move the part to\n"
     "                another one, or stop everything\n"
     "  --timeout     seconds after which the mission ends with what it has found\n"
     "  --json        print the result as JSON\n"
     "\n"
     "Prints the faults and what each process did to standard output, the progress to standard error. Ctrl-C stops\n"
     "the mission in all processes and prints what was found so far; a second one leaves at once. Exit code 0 when\n"
     "all was checked, 1 when not (the reason is on standard error), 130 after a second Ctrl-C.\n"},
    {"MISSIONS_HELP",
     "velactl missions - list the missions that a server process has spread over others\n"
     "\n"
     "usage: velactl missions [--process N[/HANDLE]]\n"
     "\n"
     "  --process   number of the server process, and which instance of it; by default 101 and any\n"
     "\n"
     "Each line: the mission, the task that owns it, its client, how much is done, its age, and its parts: the\n"
     "process, how far it is, and the code of what went wrong there.\n"},
    {"DEBUG_HELP",
     "velactl debug - give a server process an operator's command, or open its console\n"
     "\n"
     "usage: velactl debug [--timeout S] [--json] PROCESS [COMMAND...]\n"
     "\n"
     "  PROCESS     N or N/HANDLE: number of the server process, and which instance of it; by default the first one\n"
     "  COMMAND     what to run there; \"help\" lists what there is, \"help COMMAND\" explains it. Without one, commands are\n"
     "              read from standard input, at a terminal with editing, history and completion of commands and\n"
     "              modules; exit, quit or Ctrl-D leaves\n"
     "  --timeout   seconds that a reply may take, by default 60\n"
     "  --json      print each reply as one line of JSON: process, command, status and reply\n"
     "\n"
     "Options stand before PROCESS or the command. Exit code 0 when all commands succeeded, 1 when not; what was typed at\n"
     "a terminal does not count.\n"},
    {"PS_HELP",
     "velactl ps - list the running server processes\n"
     "\n"
     "usage: velactl ps [--bus] [--timeout S] [--json]\n"
     "\n"
     "  --bus       list who is on the bus instead, on all hosts, clients too\n"
     "  --timeout   seconds that their answers may take, by default 5\n"
     "  --json      print the list as JSON; uptime in seconds\n"
     "\n"
     "Each line: number and handle, process id, how long it has been running, its missions, and the objects that are\n"
     "locked by its operations. A process that does not answer has \"-\" there.\n"},
    {"FILE_HELP",
     "velactl file - files of a server process\n"
     "\n"
     "usage: velactl file get PROCESS PATH [LOCAL]\n"
     "       velactl file put PROCESS PATH [LOCAL]\n"
     "       velactl file ls PROCESS [FOLDER [PATTERN]]\n"
     "       velactl file rm PROCESS PATH\n"
     "\n"
     "  PROCESS     number of the server process, and which instance of it: N or N/HANDLE\n"
     "  PATH        the file, from the folder on that the server offers files of, as a rule its installation root\n"
     "  LOCAL       the file here, or the folder that it is in; by default this folder\n"
     "  PATTERN     names that hold this text; one \"*\" stands for any text\n"
     "  --timeout   seconds to wait for the server, by default 240\n"
     "  --json      print the result as JSON\n"
     "\n"
     "Files are replaced as a whole or not at all, at both ends; Ctrl-C leaves nothing behind. What the server offers\n"
     "stands in its etc/conf/vela.cfg. Exit code 0 when all was done, 2 when the server refused the file or has none of\n"
     "that name, 1 when anything else went wrong (the reason is on standard error), 130 after Ctrl-C.\n"},
    {"NES_HELP",
     "velactl upload, velactl reset - work on NEs through their managers\n"
     "\n"
     "usage: velactl upload NES [--process N[/HANDLE]] [--timeout S] [--json]\n"
     "       velactl upload --all ...\n"
     "       velactl reset NES ...\n"
     "\n"
     "  NES         NEs and ranges of them, 9-1,9-5..9-8, or @FILE: the same in a file, on any number of lines\n"
     "  --all       all NEs that the topology service knows\n"
     "  --process   number of the element-management server, and which instance of it; by default 110 and any\n"
     "  --timeout   seconds after which the mission ends with what it has done\n"
     "  --json      print the result as JSON\n"
     "\n"
     "upload fetches what is configured on the NEs into var/configs of the server; reset starts them anew. On one NE only\n"
     "one of them runs at a time: the later request is refused. Prints a table of the NEs with their errors to standard\n"
     "output, and the progress of each NE manager to standard error. Ctrl-C stops the mission everywhere and prints what\n"
     "was done; a second one leaves at once. Exit code 0 when all was done without errors, 2 when the request was refused\n"
     "because of a mission on the same NEs, 1 when anything else went wrong (the reason is on standard error), 130 after a\n"
     "second Ctrl-C.\n"},
    {"TOPO_HELP",
     "velactl nes - list NEs as the topology service knows them\n"
     "\n"
     "usage: velactl nes [NES] [--process N[/HANDLE]] [--json]\n"
     "\n"
     "  NES         NEs and ranges of them, 9-1,9-5..9-8, or @FILE; by default all\n"
     "  --process   number of the topology service, and which instance of it; by default 51 and any\n"
     "  --json      print the list as JSON\n"
     "\n"
     "Version, alarms and result are those of the last mission. Exit code 1 when one of the NEs is not known.\n"},
    {"SESSIONS_HELP",
     "velactl sessions - list the operations of all clients, the newest first\n"
     "\n"
     "usage: velactl sessions [--process N[/HANDLE]] [--json]\n"
     "\n"
     "  --process   number of the session service, and which instance of it; by default 52 and any\n"
     "  --json      print the list as JSON\n"
     "\n"
     "Those that are under way, and the last ones that have ended.\n"},
    {"TOP_HELP",
     "velactl top - watch the server processes of the installation root\n"
     "\n"
     "usage: velactl top [--interval S]\n"
     "       velactl top --once [--json]\n"
     "\n"
     "  --interval  seconds between two looks, by default 2\n"
     "  --once      print one look and end\n"
     "  --json      print it as JSON\n"
     "\n"
     "For each process: how long it has been serving, its memory, the requests that run and wait, those that it served,\n"
     "operations that hold locks, open error frames, threads, open files, frames sent, received and lost on full queues,\n"
     "and log records that were lost. Below it the missions. q leaves.\n"},
    {"RELOAD_HELP",
     "velactl reload - let server processes read their files again while they serve\n"
     "\n"
     "usage: velactl reload PROCESS [--language LANGUAGE] [--json]\n"
     "\n"
     "  PROCESS     N for all instances of that number, N/HANDLE for one of them, or all\n"
     "  --language  the language from now on: the name of a folder below res\n"
     "  --json      print the result as JSON\n"
     "\n"
     "Reads the texts, the debug switches (conf/debug.cfg) and which operations exclude each other (conf/mutex.cfg).\n"
     "Where one of the files is wrong, nothing is changed. Exit code 0 when all processes have read their files.\n"},
};
// clang-format on

}  // namespace apps
