#!/usr/bin/env python3
"""Signs copies of the filter, a program and the package with temporary keys, and verifies the signatures.

The command line is that of package_script.py.
"""
import http.server
import os
import pathlib
import shutil
import subprocess
import tempfile
import threading
import unittest

import package_script
from package_script import X64

SIGN = package_script.SOURCE / "Scripts/sign.sh"
PASSWORD = "a pass, with blank & sign"


def openssl(*arguments, **options):
    return subprocess.run(["openssl", *arguments], check=True, capture_output=True, **options)


def verified(file, *trust):
    """Returns the exit code and the output of osslsigncode itself for a file."""
    run = subprocess.run(["osslsigncode", "verify", *trust, "-in", file], capture_output=True, text=True)
    return run.returncode, run.stdout + run.stderr


class Authority:
    """A root certificate and the certificates that it issues, as files in a folder."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        self.root = folder / f"{name}.pem"
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name}",
                "-keyout", self.root.with_suffix(".key"), "-out", self.root)

    def issue(self, name, usage):
        certificate, request, extensions = (self.folder / f"{name}.{kind}" for kind in ("pem", "csr", "cnf"))
        key = certificate.with_suffix(".key")
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/O=Kuvant/CN={name}", "-keyout", key,
                "-out", request)
        extensions.write_text(f"basicConstraints=critical,CA:false\nkeyUsage=critical,digitalSignature\n"
                              f"extendedKeyUsage=critical,{usage}\n")
        openssl("x509", "-req", "-days", "2", "-in", request, "-CA", self.root, "-CAkey", self.root.with_suffix(".key"),
                "-extfile", extensions, "-out", certificate)
        return certificate, key


class TimeStamps:
    """A local time-stamp server: RFC 3161 by openssl, on the loopback interface."""

    def __init__(self, folder, authority):
        certificate, key = authority.issue("Temporary time stamp authority", "timeStamping")
        (folder / "serial").write_text("01\n")
        configuration = folder / "tsa.cnf"
        configuration.write_text(f"""[tsa]
default_tsa = clock
[clock]
serial = {folder}/serial
signer_cert = {certificate}
signer_key = {key}
signer_digest = sha256
default_policy = 1.2.3.4.1
digests = sha256
ess_cert_id_alg = sha256
""")

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                query = folder / "query"
                query.write_bytes(self.rfile.read(int(self.headers["Content-Length"])))
                reply = openssl("ts", "-reply", "-config", configuration, "-queryfile", query).stdout
                self.send_response(200)
                self.send_header("Content-Type", "application/timestamp-reply")
                self.send_header("Content-Length", str(len(reply)))
                self.end_headers()
                self.wfile.write(reply)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()


def setUpModule():
    global keys, authority, signer, protected, bundle, password
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    keys = pathlib.Path(folder.name)
    authority = Authority(keys, "Temporary root")
    signer = authority.issue("Temporary signer", "codeSigning")
    password = keys / "password"
    password.write_text(PASSWORD + "\n")
    protected, bundle = keys / "protected.key", keys / "signer.p12"
    openssl("pkcs8", "-topk8", "-in", signer[1], "-out", protected, "-passout", f"file:{password}")
    openssl("pkcs12", "-export", "-in", signer[0], "-inkey", signer[1], "-out", bundle, "-passout", f"file:{password}")


class Signing(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a folder ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        sources = [X64 / "KuvCredFilter.dll", X64 / "KuvFilterHost.exe", package_script.package()]
        self.files = [pathlib.Path(shutil.copy(source, self.folder)) for source in sources]
        self.dll = self.files[0]
        self.before = {file: file.read_bytes() for file in self.files}

    def sign(self, *arguments, expect=0, **options):
        run = subprocess.run([SIGN, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL, **options)
        self.assertEqual(run.returncode, expect, run.stdout + run.stderr)
        return run.stdout + run.stderr

    def with_key(self):
        return ["--cert", signer[0], "--key", signer[1], "--ca", authority.root]

    def assert_untouched(self):
        self.assertEqual({file: file.read_bytes() for file in self.folder.iterdir()}, self.before)

    def test_signs_library_program_and_package(self):
        self.dll.chmod(0o640)
        output = self.sign(*self.with_key(), "--url", "https://kuv.example/filter", *self.files)
        for file in self.files:
            self.assertIn(f"{file}: signed by /O=Kuvant/CN=Temporary signer\n", output)
            code, report = verified(file, "-CAfile", authority.root)
            self.assertEqual(code, 0, report)
            self.assertIn("SHA256", report)
            self.assertIn("Text description: Kuv Credential Provider Filter", report)
            self.assertIn("https://kuv.example/filter", report)
        self.assertEqual(self.dll.stat().st_mode & 0o777, 0o640)
        self.assertEqual(set(self.folder.iterdir()), set(self.files), "no other file is left")
        self.assertEqual(self.sign("--verify", "--ca", authority.root, *self.files), output)

    def test_sets_the_description(self):
        self.sign(*self.with_key(), "--description", "Something else", self.dll)
        self.assertIn("Text description: Something else", verified(self.dll, "-CAfile", authority.root)[1])

    def test_replaces_an_existing_signature(self):
        self.sign(*self.with_key(), self.dll)
        self.sign(*self.with_key(), self.dll)
        self.assertIn("Number of verified signatures: 1", verified(self.dll, "-CAfile", authority.root)[1])

    def test_accepts_keys_with_a_password(self):
        for key in (["--pkcs12", bundle], ["--cert", signer[0], "--key", protected]):
            with self.subTest(key[0]):
                self.sign(*key, "--password-file", password, "--ca", authority.root, self.dll)
                self.assertEqual(verified(self.dll, "-CAfile", authority.root)[0], 0)

    def test_the_password_is_on_no_command_line(self):
        """Wraps osslsigncode in a script that records its arguments."""
        tools = self.folder / "tools"
        tools.mkdir()
        program = tools / "osslsigncode"
        program.write_text(f'#!/bin/sh\nprintf "%s\\n" "$@" >>"{tools}/arguments"\n'
                           f'exec {shutil.which("osslsigncode")} "$@"\n')
        program.chmod(0o755)
        self.sign("--pkcs12", bundle, "--password-file", password, "--ca", authority.root, self.dll,
                  env={**os.environ, "PATH": f"{tools}:{os.environ['PATH']}"})
        arguments = (tools / "arguments").read_text()
        self.assertIn("-readpass\n", arguments)
        self.assertNotIn(PASSWORD, arguments)

    def test_a_modified_byte_invalidates_the_signature(self):
        self.sign(*self.with_key(), *self.files)
        for file in self.files:
            with self.subTest(file.name):
                data = bytearray(file.read_bytes())
                # A byte in the middle of the signed data; in a package, inside the files.
                data[len(self.before[file]) // 2] ^= 1
                file.write_bytes(data)
                self.assertNotEqual(verified(file, "-CAfile", authority.root)[0], 0)
                self.assertIn(f"the signature of {file} is not valid",
                              self.sign("--verify", "--ca", authority.root, file, expect=1))

    def test_an_unknown_root_is_not_trusted(self):
        self.sign(*self.with_key(), self.dll)
        other = Authority(keys, "Another root")
        for trust in (["--ca", other.root], []):
            self.assertIn("is not valid", self.sign("--verify", *trust, self.dll, expect=1))

    def test_verify_reports_unsigned_files(self):
        text = self.folder / "notes.txt"
        text.write_text("not a program\n")
        output = self.sign("--verify", "--ca", authority.root, self.dll, self.files[2], text, expect=1)
        self.assertIn(f"{self.dll} is not signed", output)
        self.assertIn(f"{self.files[2]} is not signed", output)
        self.assertIn(f"{text} is not a program or a package", output)

    def test_a_failure_does_not_change_the_file(self):
        wrong = keys / "wrong"
        wrong.write_text("wrong\n")
        other = authority.issue("Another signer", "codeSigning")
        failures = {
            "a wrong password": ["--pkcs12", bundle, "--password-file", wrong, "--ca", authority.root],
            "no password": ["--pkcs12", bundle, "--ca", authority.root],
            "another's key": ["--cert", signer[0], "--key", other[1], "--ca", authority.root],
            "a root that is not trusted": ["--cert", signer[0], "--key", signer[1]],
            # No server listens on port 1.
            "no time-stamp server": [*self.with_key(), "--timestamp", "http://127.0.0.1:1/"],
        }
        for reason, key in failures.items():
            with self.subTest(reason):
                self.assertIn(f"{self.dll} was not signed", self.sign(*key, self.dll, expect=1))
                self.assert_untouched()

    def test_reports_a_file_that_cannot_be_signed(self):
        text = self.folder / "notes.txt"
        text.write_text("not a program\n")
        self.assertIn(f"{text} was not signed", self.sign(*self.with_key(), text, expect=1))
        self.assertEqual(text.read_text(), "not a program\n")

    def test_rejects_wrong_usage_before_it_changes_a_file(self):
        absent = self.folder / "absent"
        for message, code, arguments in (
                ("a key is required", 2, [self.dll]),
                ("a key is required", 2, ["--cert", signer[0], self.dll]),
                ("--pkcs12 contains key and certificates", 2, ["--pkcs12", bundle, "--key", signer[1], self.dll]),
                ("no file to sign or verify", 2, self.with_key()),
                ("unknown option --force", 2, ["--force", self.dll]),
                ("--key requires a value", 2, [self.dll, "--key"]),
                (f"cannot read {absent} (--key)", 1, ["--cert", signer[0], "--key", absent, self.dll]),
                (f"cannot read {absent} (--pkcs12)", 1, ["--pkcs12", absent, self.dll]),
                (f"cannot read {absent}", 1, [*self.with_key(), self.dll, absent])):
            with self.subTest(message):
                self.assertIn(message, self.sign(*arguments, expect=code))
                self.assert_untouched()

    def test_adds_and_verifies_a_time_stamp(self):
        stamp_root = Authority(keys, "Time stamp root")
        server = TimeStamps(keys, stamp_root)
        self.addCleanup(server.stop)
        stamp = [*self.with_key(), "--timestamp", server.url]
        files = [self.dll, self.files[2]]
        output = self.sign(*stamp, "--tsa-ca", stamp_root.root, *files)
        for file in files:
            self.assertIn(f"{file}: signed by /O=Kuvant/CN=Temporary signer, with a time stamp\n", output)
            code, report = verified(file, "-CAfile", authority.root, "-TSA-CAfile", stamp_root.root)
            self.assertEqual(code, 0, report)
            self.assertIn("CN=Time stamp root", report)
            self.assertIn("Timestamp Server Signature verification: ok", report)
        # A time stamp from an untrusted root is rejected.
        before = self.dll.read_bytes()
        self.assertIn("could not be verified", self.sign(*stamp, self.dll, expect=1))
        self.assertEqual(self.dll.read_bytes(), before)
        self.assertIn("the time stamp of", self.sign("--verify", "--ca", authority.root, self.dll, expect=1))

    def test_signs_the_package_and_the_programs_in_it(self):
        subprocess.run(package_script.command("--output", self.folder / "signed", "--", *self.with_key()),
                       check=True, stdout=subprocess.DEVNULL)
        package = package_script.package(folder=self.folder / "signed")
        self.assertEqual(verified(package, "-CAfile", authority.root)[0], 0)
        subprocess.run(["msiextract", "-C", self.folder / "inside", package], check=True, stdout=subprocess.DEVNULL)
        programs = [path for path in (self.folder / "inside").rglob("*") if path.suffix in (".dll", ".exe")]
        self.assertEqual(sorted(path.name for path in programs),
                         ["KuvCredFilter.dll", "KuvCredFilter.dll", "KuvFilterCheck.exe", "KuvFilterSetup.exe"])
        for program in programs:
            self.assertEqual(verified(program, "-CAfile", authority.root)[0], 0, program.name)


if __name__ == "__main__":
    unittest.main()
