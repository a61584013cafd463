# Not run by the tests of this repository, which have no PowerShell. They run its commands and check its names.
#
# Discovery script for a custom compliance policy of Intune; the rules are in ComplianceRules.json. Run it as the system,
# in the 64-bit PowerShell. Exit code 3 and version 0.0.0.0 report a machine without the filter. See Docs/Fleet.md.
$folder = (Get-ItemProperty 'HKLM:\SOFTWARE\Kuvant\KuvCredFilter' -ErrorAction SilentlyContinue).InstallFolder
$code = 3
$version = '0.0.0.0'
if ($folder -and (Test-Path "${folder}KuvFilterCheck.exe")) {
    $answer = & "${folder}KuvFilterCheck.exe" --json --require console,remote | Out-String | ConvertFrom-Json
    # A crash has another exit code, and is not an answer.
    if (@(0, 1, 2) -contains $LASTEXITCODE) { $code = $LASTEXITCODE }
    if ($answer.host.filterVersion) { $version = $answer.host.filterVersion }
}
return @{ KuvFilterExitCode = $code; KuvFilterVersion = $version } | ConvertTo-Json -Compress
