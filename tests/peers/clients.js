// The provider's own clients of the table and metrics services, and a signer. Reads one call a line from standard input, writes
// one line of JSON for each, and ends with its input. Arguments: address, access key, secret key, region.
//   {"client": "tables" | "metrics", "command": "ScanCommand", "input": {…}}  ->  {"output": {…}} | {"error": name, …}
//   {"sign": {"service", "headers", "body"}}  ->  {"authorization": text}, of a POST to / at the time of its x-amz-date
'use strict';
const readline = require('readline');
const tables = require('@aws-sdk/client-dynamodb');
const metrics = require('@aws-sdk/client-cloudwatch');
const { SignatureV4 } = require('@smithy/signature-v4');
const { Sha256 } = require('@aws-crypto/sha256-js');

const [endpoint, accessKeyId, secretAccessKey, region] = process.argv.slice(2);
const options = { endpoint, region, credentials: { accessKeyId, secretAccessKey }, maxAttempts: 1 };
const clients = {
  tables: [tables, new tables.DynamoDBClient(options)],
  metrics: [metrics, new metrics.CloudWatchClient(options)],
};

async function call({ client: name, command, input }) {
  const [library, client] = clients[name];
  try {
    const { $metadata, ...output } = await client.send(new library[command](input));
    return { output, status: $metadata.httpStatusCode };
  } catch (error) {
    return { error: error.name, message: error.message, status: error.$metadata && error.$metadata.httpStatusCode };
  }
}

async function sign({ service, headers, body }) {
  const signer = new SignatureV4({
    service, region, credentials: { accessKeyId, secretAccessKey }, sha256: Sha256, applyChecksum: false,
  });
  const [, year, month, day, hour, minute, second] =
    /^(\d{4})(\d\d)(\d\d)T(\d\d)(\d\d)(\d\d)Z$/.exec(headers['x-amz-date']);
  const signed = await signer.sign(
    { method: 'POST', protocol: 'http:', hostname: '127.0.0.1', path: '/', query: {}, headers, body },
    { signingDate: new Date(`${year}-${month}-${day}T${hour}:${minute}:${second}Z`) });
  return { authorization: signed.headers.authorization };
}

(async () => {
  for await (const line of readline.createInterface({ input: process.stdin })) {
    const request = JSON.parse(line);
    console.log(JSON.stringify(request.sign ? await sign(request.sign) : await call(request)));
  }
  process.exit(0);
})();
