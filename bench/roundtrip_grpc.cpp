// gRPC on a Unix socket. The server is asynchronous with one thread, which was the quickest arrangement for
// both figures; the client is the blocking stub for one request and a completion queue for many.
#include <grpcpp/grpcpp.h>

#include <array>
#include <cstdlib>
#include <vector>

#include "bench/roundtrip_peers.h"
#include "roundtrip.grpc.pb.h"

namespace bench {
namespace {

struct ServedCall {
  grpc::ServerContext context;
  roundtrip::Bytes request;
  grpc::ServerAsyncResponseWriter<roundtrip::Bytes> writer{&context};
  bool finished = false;
};

class GrpcClient final : public RoundTripClient {
 public:
  explicit GrpcClient(const std::string& socketPath)
      : m_stub(roundtrip::Echo::NewStub(
            grpc::CreateChannel("unix:" + socketPath, grpc::InsecureChannelCredentials()))) {
    m_request.set_data(std::string(kRequestBytes, 'x'));
  }

  void One() override {
    grpc::ClientContext context;
    context.set_wait_for_ready(true);
    roundtrip::Bytes response;
    if (!m_stub->Call(&context, m_request, &response).ok()) std::abort();
  }

  void Pipelined(long requests) override {
    std::vector<std::unique_ptr<Call>> calls(kInFlight);
    long begun = 0;
    for (auto& call : calls)
      if (begun < requests) Begin(call, begun);
    for (long ended = 0; ended < requests; ++ended) {
      void* tag = nullptr;
      bool good = false;
      if (!m_queue.Next(&tag, &good)) std::abort();
      auto& call = *static_cast<std::unique_ptr<Call>*>(tag);
      if (!good || !call->status.ok()) std::abort();
      if (begun < requests) Begin(call, begun);
    }
  }

 private:
  struct Call {
    grpc::ClientContext context;
    roundtrip::Bytes response;
    grpc::Status status;
    std::unique_ptr<grpc::ClientAsyncResponseReader<roundtrip::Bytes>> reader;
  };

  void Begin(std::unique_ptr<Call>& call, long& begun) {
    ++begun;
    call = std::make_unique<Call>();
    call->reader = m_stub->AsyncCall(&call->context, m_request, &m_queue);
    call->reader->Finish(&call->response, &call->status, &call);
  }

  std::unique_ptr<roundtrip::Echo::Stub> m_stub;
  grpc::CompletionQueue m_queue;
  roundtrip::Bytes m_request;
};

}  // namespace

void ServeGrpc(const std::string& socketPath, Ready ready) {
  roundtrip::Echo::AsyncService service;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("unix:" + socketPath, grpc::InsecureServerCredentials());
  builder.RegisterService(&service);
  const std::unique_ptr<grpc::ServerCompletionQueue> queue = builder.AddCompletionQueue();
  const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (!server) std::abort();
  const auto accept = [&] {
    auto* call = new ServedCall;
    service.RequestCall(&call->context, &call->request, &call->writer, queue.get(), queue.get(), call);
  };
  for (int i = 0; i < 2 * kInFlight; ++i) accept();
  ready();
  void* tag = nullptr;
  bool good = false;
  while (queue->Next(&tag, &good)) {
    auto* call = static_cast<ServedCall*>(tag);
    if (!good || call->finished) {
      delete call;
      continue;
    }
    accept();
    call->finished = true;
    call->writer.Finish(call->request, grpc::Status::OK, call);
  }
}

std::unique_ptr<RoundTripClient> ConnectGrpc(const std::string& socketPath) {
  return std::make_unique<GrpcClient>(socketPath);
}

}  // namespace bench
