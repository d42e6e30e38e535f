#include "platform/trust/enrolment_request.h"

#include <utility>

#include "platform/trust/certificates.h"

namespace Vexo::Trust {

Result<CheckedRequest> CheckRequest(OpenSslPtr<X509_REQ> request)
{
    CheckedRequest checked{std::move(request)};
    if (!checked.request) {
        return Fail(ErrorCode::MALFORMED, "not a certificate request (PKCS#10): " + OpenSslReason());
    }
    checked.key = X509_REQ_get0_pubkey(checked.request.get());
    if (checked.key == nullptr || X509_REQ_verify(checked.request.get(), checked.key) != 1) {
        (void)OpenSslReason();
        return Fail(ErrorCode::UNTRUSTED, "the request is not signed by the key that it is for");
    }
    if (!IsP256(checked.key)) {
        return Fail(ErrorCode::UNTRUSTED, "the request is for a key of another kind than P-256");
    }
    checked.name = CommonNameOf(X509_REQ_get_subject_name(checked.request.get()));
    if (auto named = CheckName(checked.name, "the request's device name"); !named) {
        return Failure(std::move(named).error());
    }
    return checked;
}

}  // namespace Vexo::Trust
