# The list of components as SPDX 2.3, from one line of name, licence, Debian source package, version and programs each.

def file($id; $path; $sums):
    ($sums | split("\n")) as $s
    | { SPDXID: $id, fileName: "./\($path)", fileTypes: ["BINARY"], copyrightText: "NOASSERTION",
        licenseConcluded: "NOASSERTION", licenseInfoInFiles: ["NOASSERTION"],
        checksums: [{ algorithm: "SHA1", checksumValue: $s[0] }, { algorithm: "SHA256", checksumValue: $s[1] }] };

def package($id; $name; $version; $licence):
    { SPDXID: $id, name: $name, versionInfo: $version, downloadLocation: "NOASSERTION", filesAnalyzed: false,
      licenseConcluded: $licence, licenseDeclared: $licence, copyrightText: "NOASSERTION" };

def related($from; $type; $to):
    { spdxElementId: $from, relationshipType: $type, relatedSpdxElement: $to };

"SPDXRef-Package-qsn-sdk" as $sdk
| { dll: "SPDXRef-File-dll", service: "SPDXRef-File-service" } as $files
| [split("\n")[] | select(. != "") | split("\t")
    | { name: .[0], licence: .[1], source: .[2], version: .[3], programs: (.[4] | split(" ") | map(select(. != ""))) }
    | select(.programs != []) | .id = "SPDXRef-Package-\(.name)"] as $components
| { spdxVersion: "SPDX-2.3", dataLicense: "CC0-1.0", SPDXID: "SPDXRef-DOCUMENT", name: "qsn-sdk-\($version)",
    documentNamespace: "https://quillfern.example/spdx/qsn-sdk-\($version)-\($dllSums | split("\n")[1])",
    creationInfo: { created: $created, creators: ["Organization: Quillfern"] },
    files: [file($files.dll; $dll; $dllSums), file($files.service; $service; $serviceSums)],
    packages: ([package($sdk; "qsn-sdk"; $version; "NOASSERTION")]
        + [$components[] | package(.id; .name; .version; .licence)
            + { sourceInfo: "Debian source package \(.source)",
                externalRefs: [{ referenceCategory: "PACKAGE-MANAGER", referenceType: "purl",
                    referenceLocator: "pkg:deb/debian/\(.source)@\(.version | @uri)?arch=source" }] }]),
    relationships: ([related("SPDXRef-DOCUMENT"; "DESCRIBES"; $sdk)]
        + [$files[] | related($sdk; "CONTAINS"; .)]
        + [$components[] as $component | $component.programs[] | related($files[.]; "STATIC_LINK"; $component.id)]) }
