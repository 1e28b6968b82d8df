#include "platform/bus/nats_bus_settings.h"

#include <string_view>

#include "platform/config/vela_config.h"
#include "platform/os/clock.h"
#include "platform/os/vela_os.h"

namespace vela {
namespace {

constexpr int kMaxSeconds = 3600;

void Replace(std::string& text, std::string_view what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
}

// Reads the keys of one file; remembers the first error.
class KeyReader {
 public:
  KeyReader(const std::string& file, CProcID self) : m_file(file), m_self(self) {}

  // {number} and {handle} stand for the process' address, so that the processes of one root can differ.
  std::string Text(const char* key, std::string missing = {}) const {
    VelaGetRegString(m_file.c_str(), key, missing);
    Replace(missing, "{number}", std::to_string(m_self.Number()));
    Replace(missing, "{handle}", std::to_string(m_self.Handle()));
    return missing;
  }

  std::string Path(const char* key) const {
    const std::string path = Text(key);
    return path.empty() || path.front() == '/' ? path : InstallRoot() + path;
  }

  int Int(const char* key, int low, int high, int missing) {
    std::string text;
    if (VelaGetRegString(m_file.c_str(), key, text) != 1) return missing;
    int value = 0;
    if (VelaGetRegInt(m_file.c_str(), key, value) == 1 && value >= low && value <= high) return value;
    std::string reason = "\"";
    reason.append(EscapeControls(text)).append("\" is no number from ");
    Fail(key, reason + std::to_string(low) + " to " + std::to_string(high));
    return missing;
  }

  std::chrono::milliseconds Seconds(const char* key, int missing) {
    return ScaledSeconds(Int(key, 1, kMaxSeconds, missing));
  }

  void Fail(const char* key, const std::string& reason) {
    if (m_error.empty()) m_error = m_file + ": " + key + ": " + reason;
  }
  const std::string& Error() const { return m_error; }

 private:
  const std::string& m_file;
  const CProcID m_self;
  std::string m_error;
};

std::vector<std::string> Words(const std::string& list) {
  std::vector<std::string> words;
  std::size_t at = 0;
  while ((at = list.find_first_not_of(", \t", at)) != std::string::npos) {
    const std::size_t end = std::min(list.find_first_of(", \t", at), list.size());
    words.push_back(list.substr(at, end - at));
    at = end;
  }
  return words;
}

// The host of "scheme://host:port"; a host in brackets is an IPv6 address.
std::string HostOf(const std::string& server) {
  std::string host = server.substr(server.find("://") + 3);
  if (host.starts_with('[')) return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.find(':'));
}

bool IsLoopback(const std::string& host) {
  return host == "localhost" || host == "::1" ||
         (host.starts_with("127.") && host.find_first_not_of("0123456789.") == std::string::npos);
}

void ReadServers(KeyReader& keys, NatsSettings& settings) {
  settings.tls = keys.Int("NatsTls", 0, 1, 0) == 1;
  const bool plainAllowed = keys.Int("NatsAllowPlain", 0, 1, 0) == 1;
  for (std::string& server : Words(keys.Text("NatsServers", "127.0.0.1:4222"))) {
    if (server.find("://") == std::string::npos) server = (settings.tls ? "tls://" : "nats://") + server;
    const bool encrypted = settings.tls || server.starts_with("tls://");
    if (!server.starts_with("nats://") && !server.starts_with("tls://"))
      keys.Fail("NatsServers", EscapeControls(server) + " is neither nats:// nor tls://");
    else if (server.find('@') != std::string::npos)
      keys.Fail("NatsServers", "credentials belong to NatsUser and NatsPasswordFile");
    else if (!encrypted && !plainAllowed && !IsLoopback(HostOf(server)))
      keys.Fail("NatsServers", EscapeControls(server) +
                                   " is another host: set NatsTls = 1, or NatsAllowPlain = 1 where others "
                                   "may read and forge what is sent");
    settings.tls = encrypted;
    settings.servers.push_back(std::move(server));
  }
  if (settings.servers.empty()) keys.Fail("NatsServers", "is empty");
}

// The file's first line. A password that others may read is none.
std::string ReadPassword(KeyReader& keys) {
  const std::string file = keys.Path("NatsPasswordFile");
  if (file.empty()) return {};
  struct stat info {};
  UTF8_ifstream stream(file.c_str());
  std::string line;
  if (VELA_OS::stat(file.c_str(), &info) != 0 || !std::getline(stream, line))
    keys.Fail("NatsPasswordFile", file + " cannot be read");
  else if ((info.st_mode & 077) != 0)
    keys.Fail("NatsPasswordFile", file + " is open to others: it must be owner-only");
  return VelaTrim(line);
}

}  // namespace

std::string BusConfigFile() {
  const std::string root = InstallRoot();
  return root.empty() ? root : root + "etc/conf/bus.cfg";
}

bool LoadNatsSettings(const std::string& file, CProcID self, NatsSettings& settings, std::string& error) {
  KeyReader keys(file, self);
  ReadServers(keys, settings);
  settings.prefix = keys.Text("NatsSubjects", settings.prefix);
  if (settings.prefix.empty() || settings.prefix.find_first_of(" \t*>") != std::string::npos ||
      settings.prefix.starts_with('.') || settings.prefix.ends_with('.') ||
      settings.prefix.starts_with('$') || settings.prefix.find("..") != std::string::npos)
    keys.Fail("NatsSubjects", "\"" + EscapeControls(settings.prefix) + "\" cannot begin a subject");
  settings.user = keys.Text("NatsUser");
  settings.password = ReadPassword(keys);
  settings.credentialsFile = keys.Path("NatsCredentialsFile");
  settings.caFile = keys.Path("NatsCaFile");
  settings.certificateFile = keys.Path("NatsCertificateFile");
  settings.keyFile = keys.Path("NatsKeyFile");
  settings.serverName = keys.Text("NatsServerName");
  if (settings.certificateFile.empty() != settings.keyFile.empty())
    keys.Fail("NatsCertificateFile", "needs NatsKeyFile, and the other way round");
  settings.connect = keys.Seconds("NatsConnectSeconds", 5);
  settings.heartbeat = keys.Seconds("NatsHeartbeatSeconds", 2);
  settings.grace = keys.Seconds("NatsGraceSeconds", 3);
  settings.expiry = keys.Seconds("NatsExpirySeconds", 15);
  settings.reconnect = std::chrono::milliseconds(keys.Int("NatsReconnectMilliseconds", 1, 60000, 250));
  settings.bufferBytes = static_cast<std::uint32_t>(
      keys.Int("NatsBufferBytes", 1 << 16, 1 << 30, static_cast<int>(settings.bufferBytes)));
  if (settings.expiry < 2 * settings.heartbeat)
    keys.Fail("NatsExpirySeconds", "is less than two of NatsHeartbeatSeconds");
  error = keys.Error();
  return error.empty();
}

}  // namespace vela
