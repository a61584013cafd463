# Prepares a Windows machine for the Visual C++ build: checks out vcpkg at the baseline of vcpkg.json, installs the
# libraries that KUV_SPECTRE needs, and prints the versions of the tools.
#
#   Scripts/prepare-windows.ps1 [-Vcpkg FOLDER] [-NoSpectre]
#
# Sets VCPKG_ROOT for the following steps of a workflow. Installing the libraries requires an administrator.
#
# NOT TESTED: see .github/workflows/windows.yml.
param(
  [string] $Vcpkg = "$PWD\build\vcpkg",
  [switch] $NoSpectre
)
$ErrorActionPreference = 'Stop'

function Invoke-Program {
  $program = $args[0]
  $arguments = @($args | Select-Object -Skip 1)
  & $program @arguments
  if ($LASTEXITCODE -ne 0) { throw "$program ended with $LASTEXITCODE" }
}

$manifest = Get-Content "$PSScriptRoot\..\vcpkg.json" -Raw | ConvertFrom-Json
if (-not (Test-Path "$Vcpkg\.git")) { Invoke-Program git clone --quiet https://github.com/microsoft/vcpkg.git $Vcpkg }
Invoke-Program git -C $Vcpkg checkout --quiet $manifest.'builtin-baseline'
Invoke-Program "$Vcpkg\bootstrap-vcpkg.bat" -disableMetrics
Invoke-Program "$Vcpkg\vcpkg.exe" version
if ($env:GITHUB_ENV) { "VCPKG_ROOT=$Vcpkg" >> $env:GITHUB_ENV }

$installer = "${env:ProgramFiles(x86)}\Microsoft Visual Studio\Installer"
$studio = & "$installer\vswhere.exe" -latest -products * -property installationPath
if (-not $studio) { throw 'Visual Studio is not installed' }
Write-Output "Visual Studio: $studio"
if ($NoSpectre) { return }

# The 32-bit and 64-bit libraries are one component.
$libraries = @{
  'x64' = 'Microsoft.VisualStudio.Component.VC.Runtimes.x86.x64.Spectre'
  'arm64' = 'Microsoft.VisualStudio.Component.VC.Runtimes.ARM64.Spectre'
}
$processor = if ($env:PROCESSOR_ARCHITECTURE -eq 'ARM64') { 'arm64' } else { 'x64' }
$tools = (Get-Content "$studio\VC\Auxiliary\Build\Microsoft.VCToolsVersion.default.txt" -Raw).Trim()
$folder = "$studio\VC\Tools\MSVC\$tools\lib\spectre\$processor"
if (-not (Test-Path $folder)) {
  Write-Output "installs $($libraries[$processor])"
  $setup = Start-Process "$installer\setup.exe" -Wait -PassThru -ArgumentList `
    'modify', '--installPath', "`"$studio`"", '--add', $libraries[$processor], '--quiet', '--norestart', '--nocache'
  # 3010: installed, and a restart is due.
  if ($setup.ExitCode -notin 0, 3010) { throw "the installer of Visual Studio ended with $($setup.ExitCode)" }
  if (-not (Test-Path $folder)) { throw "$folder is missing" }
}
