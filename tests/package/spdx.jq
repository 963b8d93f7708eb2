# A text for each rule of SPDX 2.3 that the document breaks. Only rules that ours can break are here.

def missing($fields): . as $element | $fields[] | select(($element[.] // "") == "") | "\($element.SPDXID): no \(.)";

. as $document
| [.SPDXID, (.packages[], .files[] | .SPDXID)] as $ids
| missing(["spdxVersion", "dataLicense", "name", "documentNamespace", "SPDXID", "creationInfo", "packages", "files"]),
  (.packages[] | missing(["name", "versionInfo", "downloadLocation", "licenseDeclared"])),
  (.files[] | missing(["fileName", "checksums"])),
  (select(.spdxVersion != "SPDX-2.3" or .dataLicense != "CC0-1.0" or .SPDXID != "SPDXRef-DOCUMENT") | "wrong head"),
  (select((.creationInfo.created // "" | test("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ$") | not)
      or .creationInfo.creators == []) | "wrong creationInfo"),
  ($ids[] | select(test("^SPDXRef-[A-Za-z0-9.-]+$") | not) | "\(.): no identifier"),
  ($ids | group_by(.)[] | select(length > 1) | "\(.[0]): \(length) times"),
  (.files[].checksums[] | select((.algorithm == "SHA1" and (.checksumValue | test("^[0-9a-f]{40}$")))
      or (.algorithm == "SHA256" and (.checksumValue | test("^[0-9a-f]{64}$"))) | not) | "wrong checksum \(.)"),
  (.relationships[] | .spdxElementId, .relatedSpdxElement | . as $id | select($ids | index($id) | not) | "\(.): unknown"),
  (select([.relationships[] | select(.relationshipType == "DESCRIBES")] | length != 1) | "describes no package"),
  (.packages[1:][] | .SPDXID as $id | select(any($document.relationships[]; .relatedSpdxElement == $id) | not)
      | "\($id): in no program")
