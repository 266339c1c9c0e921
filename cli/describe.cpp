#include "describe.h"

#include <sstream>

#include "asn_view.h"
#include "oid_names.h"

namespace cmskit_cli {

using cmskit::IdentObj;
using Json = nlohmann::ordered_json;

namespace {

Json Certificates(const std::list<IdentObj>& certificates) {
  Json list = Json::array();
  for (const IdentObj& certificate : certificates) {
    const CertificateSummary summary = SummariseCertificate(certificate);
    list.push_back({{"subject", summary.subject}, {"issuer", summary.issuer}, {"serial", summary.serial}});
  }
  return list;
}

Json AttributeTypes(const cmskit::AttributesList& attributes) {
  Json list = Json::array();
  for (const cmskit::OneAttributesSet& set : attributes) list.push_back(OidName(set.getAttrOID().c_str()));
  return list;
}

Json Signer(const IdentObj& encoded) {
  cmskit::MessageSignerInfo signer;
  int error = 0;
  signer.ReadData(encoded.data(), encoded.size(), &error);
  if (error != 0) return {{"error", static_cast<uint32_t>(error)}};
  Json out;
  out["version"] = signer.version;
  if (!signer.issuer.IsEmpty()) {
    out["issuer"] = NameText(signer.issuer);
    out["serial"] = HexReversed(signer.serialNumber);
  } else {
    out["subjectKeyIdentifier"] = Hex(signer.subjectKeyIdentifier);
  }
  out["digestAlgorithm"] = AlgorithmName(signer.digestAlgorithm);
  out["signatureAlgorithm"] = AlgorithmName(signer.signatureAlgorithm);
  int timeError = 0;
  const FILETIME signingTime = signer.GetSigningData(&timeError);
  if (timeError == 0) out["signingTime"] = TimeText(signingTime);
  out["signedAttributes"] = AttributeTypes(signer.signedAttrs);
  out["unsignedAttributes"] = AttributeTypes(signer.unsignedAttrs);
  return out;
}

Json Recipient(const cmskit::TransRecipientInfo& recipient) {
  Json out;
  out["version"] = recipient.version;
  if (!recipient.issuer.IsEmpty()) {
    out["issuer"] = NameText(recipient.issuer);
    out["serial"] = HexReversed(recipient.serialNumber);
  } else {
    out["subjectKeyIdentifier"] = Hex(recipient.subjectKeyIdentifier);
  }
  cmskit::ASNAlgorithmIdentifier algorithm;
  int status = 0;
  algorithm.ReadData(recipient.keyEncryptionAlgorithm.data(), recipient.keyEncryptionAlgorithm.size(),
                     &status);
  out["keyEncryptionAlgorithm"] = status == 0 ? AlgorithmName(algorithm) : std::string();
  out["encryptedKeySize"] = Value(recipient.encryptedKey).size();
  return out;
}

void RenderValue(std::ostringstream& out, const std::string& indent, const std::string& key,
                 const Json& value);

void RenderObject(std::ostringstream& out, const std::string& indent, const Json& object) {
  for (const auto& item : object.items()) RenderValue(out, indent, item.key(), item.value());
}

void RenderValue(std::ostringstream& out, const std::string& indent, const std::string& key,
                 const Json& value) {
  if (value.is_object()) {
    out << indent << key << ":\n";
    RenderObject(out, indent + "  ", value);
    return;
  }
  if (value.is_array() && !value.empty() && value.front().is_object()) {
    out << indent << key << ": " << value.size() << "\n";
    int index = 1;
    for (const Json& element : value) {
      out << indent << "  #" << index++ << "\n";
      RenderObject(out, indent + "    ", element);
    }
    return;
  }
  out << indent << key << ": ";
  if (value.is_array()) {
    for (size_t i = 0; i < value.size(); ++i) out << (i ? ", " : "") << value[i].get<std::string>();
    if (value.empty()) out << "-";
  } else if (value.is_string()) {
    out << value.get<std::string>();
  } else {
    out << value.dump();
  }
  out << "\n";
}

}  // namespace

Json DescribeSigned(const cmskit::SignData& message) {
  Json out;
  out["type"] = "signed";
  out["contentType"] = OidName(Text(message.contentType));
  out["version"] = message.version;
  Json digests = Json::array();
  for (const cmskit::ASNAlgorithmIdentifier& algorithm : message.digestAlgorithms)
    digests.push_back(AlgorithmName(algorithm));
  out["digestAlgorithms"] = digests;
  const cmskit::ToSignStruct64 info = message.GetDataInfo64();
  const bool inFile = (info.flags & cmskit::ToSignStruct::kInFile) != 0;
  const uint64_t size = inFile ? info.end - info.begin : message.encapContentInfo.data.size();
  out["content"] = {{"type", OidName(Text(message.encapContentInfo.id))},
                    {"attached", inFile ? info.end != info.begin : size != 0},
                    {"size", size}};
  out["certificates"] = Certificates(message.certificates);
  out["crls"] = message.crls.size();
  Json signers = Json::array();
  for (const IdentObj& signer : message.signerInfos) signers.push_back(Signer(signer));
  out["signers"] = signers;
  return out;
}

Json DescribeEnveloped(const cmskit::EnvelopedData& message) {
  Json out;
  out["type"] = "enveloped";
  out["version"] = message.version;
  out["originatorCertificates"] = Certificates(message.originatorInfo.certs);
  Json recipients = Json::array();
  for (const cmskit::TransRecipientInfo& recipient : message.recipientInfos)
    recipients.push_back(Recipient(recipient));
  out["recipients"] = recipients;
  const cmskit::EncryptedContentInfo& content = message.encryptedContentInfo;
  const bool inFile = !content.fileName.IsEmpty();
  out["content"] = {
      {"type", OidName(content.contentType.c_str())},
      {"algorithm", AlgorithmName(content.contentEncryptionAlgorithm)},
      {"encryptedSize", inFile ? content.GetContentLength64() : content.encryptedContent.size()}};
  out["unprotectedAttributes"] = message.unprotectedAttrs.size();
  return out;
}

std::string RenderText(const Json& description) {
  std::ostringstream out;
  RenderObject(out, "", description);
  return out.str();
}

}  // namespace cmskit_cli
