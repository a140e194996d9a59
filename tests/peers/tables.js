// A table service by others, behind a verifier of request signatures by others. Prints the port it listens on and ends
// with its standard input. Arguments: access key, secret key, region.
'use strict';
const http = require('http');
const aws4 = require('aws4');
const dynalite = require('dynalite');

const [accessKeyId, secretAccessKey, region] = process.argv.slice(2);

function isSigned(request, body) {
  const authorization = request.headers.authorization || '';
  const names = (/SignedHeaders=([^,]*)/.exec(authorization) || ['', ''])[1].split(';');
  const headers = {};
  for (const name of names) headers[name] = request.headers[name] || '';
  const signed = aws4.sign(
    {
      method: request.method, path: request.url, service: 'dynamodb', region, headers, body,
      extraHeadersToIgnore: names.includes('content-length') ? {} : { 'content-length': true },
    },
    { accessKeyId, secretAccessKey });
  return ['host', 'x-amz-date', 'x-amz-target'].every((name) => names.includes(name)) &&
    signed.headers.Authorization === authorization;
}

function refuse(answer) {
  answer.writeHead(400, { 'Content-Type': 'application/x-amz-json-1.0' });
  answer.end(JSON.stringify({
    __type: 'com.amazon.coral.service#InvalidSignatureException',
    message: 'The request signature we calculated does not match the signature you provided.',
  }));
}

const tables = dynalite({ createTableMs: 0 });
tables.listen(0, '127.0.0.1', () => {
  const verifier = http.createServer((request, answer) => {
    const chunks = [];
    request.on('data', (chunk) => chunks.push(chunk));
    request.on('end', () => {
      const body = Buffer.concat(chunks);
      if (!isSigned(request, body)) return refuse(answer);
      const { method, url: path, headers } = request;
      http.request({ host: '127.0.0.1', port: tables.address().port, method, path, headers }, (inner) => {
        answer.writeHead(inner.statusCode, inner.headers);
        inner.pipe(answer);
      }).end(body);
    });
  });
  verifier.listen(0, '127.0.0.1', () => console.log(verifier.address().port));
});
process.stdin.resume();
process.stdin.on('end', () => process.exit(0));
